/* SPDX-License-Identifier: Apache-2.0 */
/* None of this is used. */
