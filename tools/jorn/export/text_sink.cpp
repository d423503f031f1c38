// SPDX-License-Identifier: Apache-2.0
#include "export/export_sink.h"

namespace tool {
namespace {

class TextSink : public ExportSink {
public:
    using WriterFor = std::function<ItemWriter(const ExportedLog &)>;

    TextSink(int file, const std::string &name, const std::string &heading, WriterFor writerFor)
        : output_(file, name), writerFor_(std::move(writerFor)) {
        output_.write(heading);
    }

    void beginLog(const ExportedLog &log) override { writer_ = writerFor_(log); }
    bool take(const Item &item) override { return writer_(item, &output_); }
    void finish() override { output_.finish(); }

private:
    Output output_;
    WriterFor writerFor_;
    ItemWriter writer_;
};

}  // namespace

std::unique_ptr<ExportSink> makeTextSink(int file, const std::string &name, const std::string &heading,
                                         std::function<ItemWriter(const ExportedLog &)> writerFor) {
    return std::make_unique<TextSink>(file, name, heading, std::move(writerFor));
}

}  // namespace tool
