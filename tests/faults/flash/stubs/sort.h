/* SPDX-License-Identifier: Apache-2.0 */
/* Sorting: the file system brings its own. */
