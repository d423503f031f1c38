// SPDX-License-Identifier: Apache-2.0
#include "export/form_sink.h"

#include <unistd.h>

namespace tool {
namespace {

std::unique_ptr<ExportSink> makeItemSink(const FormTerms &terms, int file, const std::string &name) {
    ItemStyle style;
    style.form = terms.form == ExportForm::Csv ? ItemForm::Csv : ItemForm::Json;
    style.isUtc = terms.isUtc;
    style.isEscaped = isatty(file) == 1;
    style.origin = terms.columns;
    const std::string heading = ItemFormatter(style).heading();
    return makeTextSink(file, name, heading, [style](const ExportedLog &log) {
        ItemStyle own = style;
        own.names = log.names;
        own.origin = log.origin;
        return [formatter = ItemFormatter(own)](const Item &item, Output *output) mutable {
            return output->write(formatter.format(item));
        };
    });
}

/// Where no host is given, the device is the host if its name is valid as one.
std::string hostNameFor(const SyslogStyle &style, const ItemOrigin &origin) {
    if (!style.hostName.empty()) {
        return style.hostName;
    }
    return isHostName(origin.device) ? origin.device : "-";
}

std::unique_ptr<ExportSink> makeSyslogSink(SyslogStyle style, int file, const std::string &name) {
    style.isEscaped = isatty(file) == 1;
    return makeTextSink(file, name, "", [style](const ExportedLog &log) {
        SyslogStyle own = style;
        own.log = log.name;
        own.names = log.names;
        own.origin = log.origin;
        own.hostName = hostNameFor(style, log.origin);
        return [formatter = SyslogFormatter(own)](const Item &item, Output *output) mutable {
            return output->write(formatter.format(item));
        };
    });
}

}  // namespace

std::unique_ptr<ExportSink> makeLineSink(const FormTerms &terms, int file, const std::string &name) {
    return terms.form == ExportForm::Syslog ? makeSyslogSink(terms.syslog, file, name)
                                            : makeItemSink(terms, file, name);
}

}  // namespace tool
