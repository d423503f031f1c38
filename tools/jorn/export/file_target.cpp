// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <string.h>

#include "export/batch_target.h"
#include "system/failure.h"
#include "system/replaced_file.h"

namespace tool {
namespace {

class FileTarget : public BatchTarget {
public:
    FileTarget(FormTerms terms, const std::string &path)
        : terms_(std::move(terms)),
          file_(path, ReplacedFile::Existing::KeptAlways,
                terms_.form == ExportForm::Sqlite ? TemporaryFile::Naming::AtOnce
                                                  : TemporaryFile::Naming::WhenNeeded) {}

    std::unique_ptr<ExportSink> begin() override {
        return terms_.form == ExportForm::Sqlite
                   ? makeSqliteSink(file_.temporaryPath(), file_.path(), terms_.table)
                   : makeLineSink(terms_, file_.descriptor(), file_.path());
    }

    void send() override {}

    void awaitArrival() override {
        if (!file_.commit()) {
            throw Failure(
                file_.path() +
                ": is written, but its directory could not be synced, so that a power cut may remove it: " +
                strerror(errno) + "; its items count as not sent");
        }
    }

private:
    FormTerms terms_;
    ReplacedFile file_;
};

}  // namespace

std::unique_ptr<BatchTarget> makeFileTarget(const FormTerms &terms, const std::string &path) {
    return std::make_unique<FileTarget>(terms, path);
}

}  // namespace tool
