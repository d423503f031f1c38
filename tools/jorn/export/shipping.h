// SPDX-License-Identifier: Apache-2.0
// Runs an export with cursors: once, repeatedly, or only to report the status.
#ifndef JORN_TOOLS_SHIPPING_H
#define JORN_TOOLS_SHIPPING_H

#include "export/shipper.h"
#include "export/shipping_options.h"

namespace tool {

/// Returns the exit code. Without logs, the status is that of all logs that have a cursor. Throws Failure.
int runShipping(const ShippingOptions &options, ShipperTerms terms, const FormTerms &form);

}  // namespace tool

#endif
