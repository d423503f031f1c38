// SPDX-License-Identifier: Apache-2.0
// Error numbers that every call taking an object's id may leave in errno.
#ifndef OBJLIB_H
#define OBJLIB_H

/// The id is null, stale (its object was deleted, even if a new object took its place) or garbage.
#define S_objLib_OBJ_ID_ERROR 0x3d0001
/// The call would have to wait and was told not to (NO_WAIT).
#define S_objLib_OBJ_UNAVAILABLE 0x3d0002
/// The object was deleted while the caller waited on it.
#define S_objLib_OBJ_DELETED 0x3d0003
/// The timeout elapsed before the call could complete.
#define S_objLib_OBJ_TIMEOUT 0x3d0004

#endif
