// SPDX-License-Identifier: Apache-2.0
// The registry: the list of live objects, the module's globals, and the look-ups.
//
// The list has no lock. Only creation and destruction change it, which their callers never run at the same
// time; every task may walk it at any time. An object found stays valid because its destruction never runs at
// the same time as calls for it; the objects passed on the way stay alive because destruction waits, between
// unlinking and freeing, until no walk is under way.
#ifndef JORN_SRC_REGISTRY_REGISTRY_H
#define JORN_SRC_REGISTRY_REGISTRY_H

#include <stdint.h>

#include "linkage.h"
#include "platform.h"
#include "registry/log_object.h"

extern "C" {

/// Head of the list: the newest object, null when there is none. Handle ids decrease from head to tail.
extern JORN_HIDDEN JORN_OBJ *jorn_obj_ptr;

/// Data files of all objects together, checked against 90. May exceed those of the live objects after a late
/// failure of creation; corrected when the last object is destroyed.
extern JORN_HIDDEN int32_t jorn_csv_cnt;

/// Largest item time found by any start-up analysis, seconds. Only ever raised.
extern JORN_HIDDEN uint32_t jorn_max_csv_time;

/// Guards the data files, the index files, the ring positions and the summaries of all objects.
extern JORN_HIDDEN SEM_ID logSemCsvRW_ID;

/// Carries store messages to the store task.
extern JORN_HIDDEN MSG_Q_ID logMsgCsvStore_ID;

/// The store task.
extern JORN_HIDDEN TASK_ID logTask_ID;
}

/// The object with this handle, or null. Any task, no lock.
JORN_INTERNAL JORN_OBJ *FindObj(int32_t handle_id);

/// The predecessor of the object with this handle; null when it is the head or there is no such
/// object. Only for destruction.
JORN_INTERNAL JORN_OBJ *FindObjLast(int32_t handle_id);

namespace jorn {

/// FindObj() without counting the walk: for the store task in a batch. The mutex keeps its walks apart from
/// the freeing of an object, and the task may be deleted in the middle of one.
JORN_OBJ *walkTo(int32_t handle_id);

/// FindObj(), with a message when there is none.
JORN_OBJ *findOrReport(int32_t handle_id);

/// Links an object in front of the head.
void linkObject(JORN_OBJ *obj);

/// Takes an object out of the list; `previous` is its predecessor, null for the head. Walks that are under
/// way may still be at it.
void unlinkObject(const JORN_OBJ *obj, JORN_OBJ *previous);

/// Whether some task is walking the list. Walks never block.
bool isWalkUnderWay();

/// Marks the object whose ring state is being filled in; null for none. It is linked and can be found, but
/// the store task must not write for it yet: messages for a former owner of its handle may be queued.
void setObjectInCreation(const JORN_OBJ *obj);
bool isInCreation(const JORN_OBJ *obj);

}  // namespace jorn

#endif
