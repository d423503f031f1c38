/* SPDX-License-Identifier: Apache-2.0 */
/* Extended attributes, which nothing here uses. */
#ifndef STUB_SYS_XATTR_H
#define STUB_SYS_XATTR_H

#define XATTR_CREATE 1
#define XATTR_REPLACE 2

#endif
