// SPDX-License-Identifier: Apache-2.0
// How the module's internal functions and globals are declared: with C linkage, so that the target's
// shell, a C program and a test can call them by name, and hidden, so that the linked module exports only
// what the public header declares.
#ifndef JORN_SRC_LINKAGE_H
#define JORN_SRC_LINKAGE_H

#if defined(__GNUC__)
#define JORN_HIDDEN __attribute__((visibility("hidden")))
#else
#define JORN_HIDDEN
#endif

#define JORN_INTERNAL extern "C" JORN_HIDDEN

#endif
