// SPDX-License-Identifier: Apache-2.0
// The real file system on a chip: power on, power off without warning, and its own calls. Nothing else in the
// rig sees the file system's headers. There is one volume, mounted at "/yaffs", and one caller at a time.
#ifndef JORN_TESTS_FAULTS_FLASH_VOLUME_H
#define JORN_TESTS_FAULTS_FLASH_VOLUME_H

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <string>

#include "nand.h"

namespace flash {

/// Files of a directory by name.
using Directory = std::map<std::string, std::string>;

class Volume {
public:
    /// Mounts the chip, which must outlive the mount. `caches`: how many pages the file system keeps in
    /// memory before it programs them.
    static bool powerOn(Nand *chip, int caches);

    /// Forgets everything that is not on the chip.
    static void powerOff();

    /// All regular files of a directory with their bytes; empty when there is no such directory.
    static Directory readAll(const std::string &directory);

    /// Write a whole file, close included; make a directory. Used to set the scene.
    static bool write(const std::string &path, const std::string &bytes);

    // The calls themselves; errors are negative results.
    static int open(const char *path, int flags);
    static ssize_t read(int file, char *buffer, size_t size);
    static ssize_t write(int file, const char *bytes, size_t size);
    static off_t seek(int file, off_t offset, int whence);
    static int close(int file);
    static int rename(const char *from, const char *to);
    static int remove(const char *path);
    static int makeDirectory(const char *path);
    static void *openDirectory(const char *path);
    static int closeDirectory(void *directory);
};

}  // namespace flash

#endif
