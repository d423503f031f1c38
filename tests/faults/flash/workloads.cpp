// SPDX-License-Identifier: Apache-2.0
#include "workloads.h"

#include <cstdio>
#include <cstdlib>

namespace flash {

namespace {

constexpr char kLog[] = "/yaffs/log";
constexpr char kOther[] = "/yaffs/other";
constexpr size_t kLongestText = 198;

/// Texts of every length from 0 to the longest, all different, so that lines cross page boundaries
/// everywhere.
std::string textOf(size_t number) {
    constexpr size_t kStride = 67;
    std::string text = "n" + std::to_string(number);
    text.resize(std::max(text.size(), number * kStride % (kLongestText + 1)),
                static_cast<char>('a' + number % 26));
    return text;
}

std::string shortText(size_t number) { return "s" + std::to_string(number); }

int levelOf(size_t number) { return static_cast<int>(number % 4); }

void addItems(Life &life, size_t object, size_t first, size_t count) {
    for (size_t number = first; number < first + count; ++number) {
        life.add(object, levelOf(number), textOf(number));
    }
}

/// Items in batches that fit the queue, the file staying open between them.
void addMany(Life &life, size_t object, size_t first, size_t count) {
    constexpr size_t kBatch = 500;
    for (size_t number = first; number < first + count; ++number) {
        life.add(object, 0, shortText(number));
        if ((number - first) % kBatch == kBatch - 1) {
            Life::pass();
        }
    }
    Life::settle();
}

void nothing(Scene &) {}

/// A blank chip: directory, index and first file are created; then the same again on what is there.
Workload firstCreation(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 3}, {kOther, 2}};
    return {"first creation", objects, false, 16, nothing, [=](Life &life) {
                for (size_t round = 0; round < 12 * scale; ++round) {
                    life.create(0, objects[0]);
                    if (round % 2 == 1) {
                        life.create(1, objects[1]);
                    }
                    addItems(life, 0, round * 4, 4);
                    Life::settle();
                    life.destroy(0);
                    if (round % 2 == 1) {
                        life.destroy(1);
                    }
                }
            }};
}

/// One to three items, a pass, and a pass without items, over and over.
Workload steadyLogging(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 4}};
    return {"steady logging", objects, false, 16, nothing, [=](Life &life) {
                life.create(0, objects[0]);
                size_t number = 0;
                for (size_t round = 0; round < 120 * scale; ++round) {
                    const size_t count = 1 + round % 3;
                    addItems(life, 0, number, count);
                    number += count;
                    Life::settle();
                }
            }};
}

/// The file stays open over several passes of many items.
Workload bursts(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 4}};
    return {"bursts", objects, false, 16, nothing, [=](Life &life) {
                life.create(0, objects[0]);
                size_t number = 0;
                for (size_t round = 0; round < 24 * scale; ++round) {
                    const size_t count = 1 + round * 13 % 40;
                    addItems(life, 0, number, count);
                    number += count;
                    round % 3 == 2 ? Life::settle() : Life::pass();
                }
                Life::settle();
            }};
}

/// A file fills up and the next one, which did not exist, is begun.
Workload rotation(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 4}};
    return {"rotation",
            objects,
            false,
            16,
            [](Scene &scene) {
                scene.makeDirectory(kLog);
                scene.dataFile(0, kLog, 0, 30);
                scene.dataFile(0, kLog, 1, 4985);
                scene.index(kLog, 0, 1);
            },
            [=](Life &life) {
                life.create(0, objects[0]);
                for (size_t round = 0; round < 8 * scale; ++round) {
                    addItems(life, 0, round * 4, 4);
                    Life::settle();
                }
            }};
}

/// The ring is full and wraps to its oldest file, twice.
Workload wrap(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 3}};
    return {"ring wrap",
            objects,
            false,
            16,
            [](Scene &scene) {
                scene.makeDirectory(kLog);
                scene.dataFile(0, kLog, 1, 40);
                scene.dataFile(0, kLog, 2, 50);
                scene.dataFile(0, kLog, 0, 4990);
                scene.index(kLog, 1, 0);
            },
            [=](Life &life) {
                life.create(0, objects[0]);
                addItems(life, 0, 0, 12);
                Life::settle();
                addMany(life, 0, 100, 4970);
                for (size_t round = 0; round < 9 * scale; ++round) {
                    addItems(life, 0, 10000 + round * 4, 4);
                    Life::settle();
                }
            }};
}

/// Two objects take turns, so that the file is closed and another one opened at each turn.
Workload twoObjects(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 2}, {kOther, 3}};
    return {"two objects", objects, false, 16, nothing, [=](Life &life) {
                life.create(0, objects[0]);
                life.create(1, objects[1]);
                for (size_t round = 0; round < 60 * scale; ++round) {
                    for (size_t turn = 0; turn < 4; ++turn) {
                        addItems(life, turn % 2, round * 8 + turn * 2, 1 + turn % 2);
                    }
                    round % 2 == 1 ? Life::settle() : Life::pass();
                }
                Life::settle();
            }};
}

/// Creations over every state of the index: none, backup only, both, unusable.
Workload indexStates(size_t scale) {
    std::vector<ObjectShape> objects(6);
    for (size_t i = 0; i < objects.size(); ++i) {
        objects[i] = {"/yaffs/i" + std::to_string(i), 4};
    }
    return {"index states",
            objects,
            true,
            16,
            [=](Scene &scene) {
                for (size_t i = 0; i < objects.size(); ++i) {
                    const std::string &directory = objects[i].directory;
                    scene.makeDirectory(directory);
                    scene.dataFile(i, directory, 1, 5);
                    scene.dataFile(i, directory, 2, 7);
                }
                scene.write(objects[1].directory + "/index.bak", "version:1\n1,2\n");
                scene.index(objects[2].directory, 1, 2);
                scene.write(objects[2].directory + "/index.bak", "version:1\n0,1\n");
                scene.write(objects[3].directory + "/index.csv", "");
                scene.write(objects[3].directory + "/index.bak", "version:1\n1,2\n");
                scene.write(objects[4].directory + "/index.csv", "version:1\n1,");
                scene.index(objects[5].directory, 1, 95);
            },
            [=](Life &life) {
                for (size_t round = 0; round < 4 * scale; ++round) {
                    for (size_t i = 0; i < objects.size(); ++i) {
                        life.create(i, objects[i]);
                        addItems(life, i, round * 3, 3);
                        Life::settle();
                        life.destroy(i);
                    }
                }
            }};
}

/// Clearing again and again, each time with items before and after.
Workload clearing(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 3}};
    return {"clearing", objects, true, 16, nothing, [=](Life &life) {
                life.create(0, objects[0]);
                for (size_t round = 0; round < 50 * scale; ++round) {
                    addItems(life, 0, round * 5, 5);
                    Life::settle();
                    life.clear(0, round % 2 == 0);
                    if (round % 3 != 0) {
                        Life::settle();
                    }
                }
                Life::settle();
            }};
}

/// A gap with one file below it: one rename, which loses nothing without a cut.
Workload gapOfOne(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 8}};
    return {"tidying: one below gap",
            objects,
            true,
            16,
            [](Scene &scene) {
                scene.makeDirectory(kLog);
                scene.dataFile(0, kLog, 2, 9);
                scene.dataFile(0, kLog, 4, 8);
                scene.dataFile(0, kLog, 5, 7);
                scene.index(kLog, 2, 5);
            },
            [=](Life &life) {
                life.create(0, objects[0]);
                for (size_t round = 0; round < 10 * scale; ++round) {
                    addItems(life, 0, round * 3, 3);
                    Life::settle();
                }
            }};
}

/// Several files below gaps: renames replace files that have not been moved yet.
Workload gaps(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 8}};
    return {"tidying: many below gaps",
            objects,
            true,
            16,
            [](Scene &scene) {
                scene.makeDirectory(kLog);
                scene.dataFile(0, kLog, 0, 11);
                scene.dataFile(0, kLog, 2, 9);
                scene.dataFile(0, kLog, 3, 10);
                scene.dataFile(0, kLog, 6, 8);
                scene.index(kLog, 0, 6);
            },
            [=](Life &life) {
                life.create(0, objects[0]);
                for (size_t round = 0; round < 10 * scale; ++round) {
                    addItems(life, 0, round * 3, 3);
                    Life::settle();
                }
            }};
}

/// A ring that was larger: files beyond it are deleted, the rest moves down.
Workload surplus(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 4}};
    return {"tidying: smaller ring",
            objects,
            true,
            16,
            [](Scene &scene) {
                scene.makeDirectory(kLog);
                for (int position = 0; position < 9; ++position) {
                    scene.dataFile(0, kLog, position, 6);
                }
                scene.index(kLog, 0, 8);
            },
            [=](Life &life) {
                life.create(0, objects[0]);
                for (size_t round = 0; round < 10 * scale; ++round) {
                    addItems(life, 0, round * 3, 3);
                    Life::settle();
                }
            }};
}

/// A wrapped ring that grows by some files.
Workload growing(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 7}};
    return {"tidying: larger ring",
            objects,
            true,
            16,
            [](Scene &scene) {
                scene.makeDirectory(kLog);
                for (const int position : {2, 3, 4, 0, 1}) {
                    scene.dataFile(0, kLog, position, 6);
                }
                scene.index(kLog, 2, 1);
            },
            [=](Life &life) {
                life.create(0, objects[0]);
                for (size_t round = 0; round < 10 * scale; ++round) {
                    addItems(life, 0, round * 3, 3);
                    Life::settle();
                }
            }};
}

/// Little room is left, so that old pages are constantly collected and blocks erased.
Workload nearlyFull(size_t scale) {
    const std::vector<ObjectShape> objects = {{kLog, 3}};
    return {"nearly full chip",
            objects,
            false,
            16,
            [](Scene &scene) {
                // Small files, so that dead pages are mixed with live ones.
                constexpr int kFillers = 115;
                scene.makeDirectory("/yaffs/full");
                for (int i = 0; i < kFillers; ++i) {
                    scene.write("/yaffs/full/" + std::to_string(i), std::string(3 * kPageBytes, 'f'));
                }
                scene.makeDirectory(kLog);
            },
            [=](Life &life) {
                life.create(0, objects[0]);
                for (size_t round = 0; round < 120 * scale; ++round) {
                    addItems(life, 0, round * 2, 2);
                    Life::settle();
                }
            }};
}

}  // namespace

void Scene::makeDirectory(const std::string &path) {
    if (Volume::makeDirectory(path.c_str()) < 0) {
        fprintf(stderr, "%s cannot be made\n", path.c_str());
        abort();
    }
}

void Scene::write(const std::string &path, const std::string &bytes) {
    if (!Volume::write(path, bytes)) {
        fprintf(stderr, "%s cannot be written\n", path.c_str());
        abort();
    }
}

void Scene::dataFile(size_t object, const std::string &directory, int position, size_t count) {
    std::string bytes;
    for (size_t i = 0; i < count; ++i) {
        const std::string line = std::to_string(time_++) + ",1,0,f" + std::to_string(position) + "\n";
        ledger_->submit(object, line);
        bytes += line;
    }
    write(directory + "/" + std::to_string(position) + ".csv", bytes);
}

void Scene::index(const std::string &directory, int oldest, int latest) {
    write(directory + "/index.csv",
          "version:1\n" + std::to_string(oldest) + "," + std::to_string(latest) + "\n");
}

std::vector<Workload> allWorkloads(size_t scale) {
    return {firstCreation(scale), steadyLogging(scale), bursts(scale),    rotation(scale), wrap(scale),
            twoObjects(scale),    indexStates(scale),   clearing(scale),  gapOfOne(scale), gaps(scale),
            surplus(scale),       growing(scale),       nearlyFull(scale)};
}

}  // namespace flash
