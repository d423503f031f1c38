/* SPDX-License-Identifier: Apache-2.0 */
/* Nothing of this is used. */
