// SPDX-License-Identifier: Apache-2.0
#include "faults/workloads.h"

namespace faults {
namespace {

constexpr int32_t kFull = 5000;

/// `count` lines of a data file, texts "<prefix><number>".
std::string lines(const std::string &prefix, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += std::to_string(1600000000 + i) + ",1,2," + prefix + std::to_string(i) + "\n";
    }
    return all;
}

void index(StoreDriver &store, const std::string &dir, int32_t oldest, int32_t latest) {
    store.put(dir + "/index.csv",
              "version:1\n" + std::to_string(oldest) + "," + std::to_string(latest) + "\n");
}

void nothing(StoreDriver &, Handles &) {}

/// An object on "a" with one item, at rest.
void oneObject(StoreDriver &store, Handles &handles) {
    handles.a = store.create("a", kRingA);
    passes(store, 2);
}

void twoObjects(StoreDriver &store, Handles &handles) {
    oneObject(store, handles);
    handles.b = store.create("b", 2);
    passes(store, 2);
}

/// Three files, the newest of them in position 1.
void wrappedFiles(StoreDriver &store) {
    store.put("a/2.csv", lines("old", 3));
    store.put("a/0.csv", lines("mid", 2));
    store.put("a/1.csv", lines("new", 3));
    index(store, "a", 2, 1);
}

void wrappedRing(StoreDriver &store, Handles &handles) {
    wrappedFiles(store);
    oneObject(store, handles);
}

void createFirst(StoreDriver &store, Handles &handles) { handles.a = store.create("a", kRingA); }

void createFromWrapped(StoreDriver &store, Handles &handles) {
    createFirst(store, handles);
    passes(store, 2);
}

/// Six files with a gap for a ring of three: one move, three deletions, a new index.
void untidyFiles(StoreDriver &store, Handles &) {
    for (const char *const name : {"0", "1", "2", "4", "5", "6"}) {
        store.put("a/" + std::string(name) + ".csv", lines(std::string("f") + name + "-", 2));
    }
    index(store, "a", 0, 6);
}

/// A rewrite of the index that was cut after the rename, and a gap in the ring.
void backupOnly(StoreDriver &store, Handles &) {
    store.put("a/0.csv", lines("old", 2));
    store.put("a/2.csv", lines("new", 2));
    store.put("a/index.bak", "version:1\n0,2\n");
}

/// An unusable index beside a backup.
void damagedIndex(StoreDriver &store, Handles &) {
    store.put("a/0.csv", lines("only", 2));
    store.put("a/index.csv", "");
    store.put("a/index.bak", "version:1\n0,1\n");
}

void createSecond(StoreDriver &store, Handles &handles) {
    handles.b = store.create("b", 2);
    passes(store, 2);
}

void submitToFullQueue(StoreDriver &store, Handles &handles) {
    addItems(store, handles.a, "item", 4);
    store.add(0, "nobody's");
}

void nearlyFullQueue(StoreDriver &store, Handles &handles) {
    oneObject(store, handles);
    store.fillQueue(handles.a, 510);
}

/// Two passes with items and an idle one, so that the file stays open between the first two.
void append(StoreDriver &store, Handles &handles) {
    addItems(store, handles.a, "first", 3);
    store.pass();
    addItems(store, handles.a, "second", 2);
    passes(store, 2);
}

void firstFile(StoreDriver &store, Handles &handles) {
    store.clear(handles.a);
    store.pass();
    append(store, handles);
}

void alternate(StoreDriver &store, Handles &handles) {
    for (int i = 0; i < 3; ++i) {
        store.add(handles.a, "a" + std::to_string(i));
        store.add(handles.b, "b" + std::to_string(i));
    }
    passes(store, 2);
}

/// Two items from the end of a file that is not the ring's last.
void beforeRotation(StoreDriver &store, Handles &handles) {
    oneObject(store, handles);
    store.setCount(handles.a, 0, kFull - 2);
}

/// The same in a ring that has wrapped: the next file is the oldest one.
void beforeWrap(StoreDriver &store, Handles &handles) {
    wrappedRing(store, handles);
    store.setCount(handles.a, 1, kFull - 2);
}

void rotate(StoreDriver &store, Handles &handles) {
    addItems(store, handles.a, "item", 5);
    store.pass();
    addItems(store, handles.a, "late", 2);
    passes(store, 2);
}

void countItems(StoreDriver &store, Handles &handles) {
    store.count(handles.a);
    store.count(handles.a);
}

void turnPages(StoreDriver &store, Handles &handles) {
    store.page(handles.a, 1, 4);
    store.page(handles.a, 2, 4);
    store.page(handles.a, 9, 4);
}

void clearItems(StoreDriver &store, Handles &handles) {
    store.clear(handles.a);
    passes(store, 2);
    store.count(handles.a);
}

void waitingItems(StoreDriver &store, Handles &handles) {
    twoObjects(store, handles);
    store.add(handles.a, "open");
    store.pass();
    store.add(handles.b, "waiting");
}

void destroyOne(StoreDriver &store, Handles &handles) {
    store.destroy(handles.a);
    handles.a = 0;
    passes(store, 2);
}

void openFile(StoreDriver &store, Handles &handles) {
    oneObject(store, handles);
    store.add(handles.a, "open");
    store.pass();
}

void destroyLast(StoreDriver &store, Handles &handles) {
    store.destroy(handles.a);
    handles.a = 0;
}

void restart(StoreDriver &store, Handles &handles) {
    destroyLast(store, handles);
    createFirst(store, handles);
    addItems(store, handles.a, "after", 2);
    passes(store, 2);
    store.page(handles.a, 1, 3);
}

}  // namespace

void addItems(StoreDriver &store, int32_t handle, const std::string &prefix, int count) {
    for (int i = 0; i < count; ++i) {
        store.add(handle, prefix + std::to_string(i));
    }
}

void passes(StoreDriver &store, int count) {
    for (int i = 0; i < count; ++i) {
        store.pass();
    }
}

void destroyAll(StoreDriver &store, Handles &handles) {
    for (int32_t *const handle : {&handles.b, &handles.a}) {
        if (*handle > 0) {
            store.destroy(*handle);
            *handle = 0;
        }
    }
}

const std::vector<Workload> &workloads() {
    static const std::vector<Workload> all = {
        {"CreateFirst", nothing, createFirst},
        {"CreateOnWrappedRing", [](StoreDriver &store, Handles &) { wrappedFiles(store); },
         createFromWrapped},
        {"CreateOnUntidyRing", untidyFiles, createFromWrapped},
        {"CreateOnBackup", backupOnly, createFromWrapped},
        {"CreateOnDamagedIndex", damagedIndex, createFromWrapped},
        {"CreateSecond", oneObject, createSecond},
        {"SubmitToFullQueue", nearlyFullQueue, submitToFullQueue},
        {"FirstFile", oneObject, firstFile},
        {"Append", oneObject, append},
        {"AlternateObjects", twoObjects, alternate},
        {"Rotate", beforeRotation, rotate},
        {"WrapAround", beforeWrap, rotate},
        {"Count", wrappedRing, countItems},
        {"TurnPages", wrappedRing, turnPages},
        {"Clear", wrappedRing, clearItems},
        {"DestroyOne", waitingItems, destroyOne},
        {"DestroyLast", openFile, destroyLast},
        {"Restart", openFile, restart},
    };
    return all;
}

}  // namespace faults
