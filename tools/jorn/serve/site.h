// SPDX-License-Identifier: Apache-2.0
// What is at each path: the files of the page, which are part of the program, and the interface behind it.
// Nothing in a request becomes the name of a file.
#ifndef JORN_TOOLS_SITE_H
#define JORN_TOOLS_SITE_H

#include <string>
#include <string_view>
#include <vector>

#include "http/access.h"
#include "http/request.h"
#include "serve/api.h"
#include "serve/first_look.h"

namespace tool {

struct PageFile {
    std::string_view name;  ///< "jorn.js".
    std::string_view bytes;
    std::string_view hash;  ///< Of the bytes.
};

/// Those of the page, made part of the program by the build.
std::vector<PageFile> pageFiles();

class Site {
public:
    /// Interface, look and files must outlive it.
    Site(Access access, Api *api, const FirstLook *look, std::vector<PageFile> files)
        : access_(std::move(access)), api_(*api), look_(*look), files_(std::move(files)) {}

    /// Safe to call from any thread. Whatever is asked of the interface waits for the first look at the logs.
    /// Throws RequestError.
    WebAnswer answer(const WebRequest &request) const;

private:
    WebAnswer fileAt(const WebRequest &request) const;

    const Access access_;
    Api &api_;
    const FirstLook &look_;
    const std::vector<PageFile> files_;
};

}  // namespace tool

#endif
