// SPDX-License-Identifier: Apache-2.0
// The options of an export with cursors.
#ifndef JORN_TOOLS_CURSOR_OPTIONS_H
#define JORN_TOOLS_CURSOR_OPTIONS_H

#include <CLI/App.hpp>
#include <string>

#include "export/export_form.h"
#include "export/shipping_options.h"

namespace tool {

/// Adds them as a group of their own. `options` must outlive the parsing.
void addCursorOptions(CLI::App *command, ShippingOptions *options);

/// Of the other options, those that do not go with all of these.
struct CursorSetting {
    std::string form;  ///< Of -o; empty where it is not given.
    ExportForm chosen = ExportForm::JsonLines;
    bool hasFile = false;
    bool mayReplace = false;
};

/// Refuses what does not go together. Throws Failure.
void checkCursorOptions(const ShippingOptions &options, const CursorSetting &setting);

}  // namespace tool

#endif
