// SPDX-License-Identifier: Apache-2.0
#include "contract.h"

#include <errno.h>
#include <msgQLib.h>
#include <semLib.h>
#include <taskLib.h>
#include <usrFsLib.h>

#include <dirent.h>
#include <stdio.h>
#include <string.h>

extern "C" {
int yaffs_rename(const char *oldPath, const char *newPath);
int jorn_MakeDirectory(const char *name);
}

namespace contract {

namespace {

constexpr int kTasks = 4;
constexpr int kPriorities[kTasks] = {50, 100, 150, 150};
constexpr int kObjects = 2;
constexpr UINT kMessageSize = 8;
constexpr size_t kPathSize = 160;

/// A task of the scenario: it makes the calls that come to it as messages, one after the other.
struct Actor {
    TASK_ID id;
    MSG_Q_ID orders;
    int result, error;
    char received[kMessageSize + 1];
};

Actor actors[kTasks];
SEM_ID mutexes[kObjects];
MSG_Q_ID queues[kObjects];
const Platform *around;

const char *pathOf(const char *relative, bool isOwn = false) {
    static char paths[2][kPathSize];
    static int turn;
    char *const path = paths[++turn % 2];
    around->makePath(path, kPathSize, relative, isOwn);
    return path;
}

int receive(const Step &step, UINT room, Actor *actor) {
    memset(actor->received, 0, sizeof actor->received);
    return msgQReceive(queues[step.number], actor->received, room, step.argument);
}

int send(const Step &step, int priority) {
    char message[16] = {};
    strncpy(message, step.text, sizeof message - 1);
    return msgQSend(queues[step.number], message, static_cast<UINT>(strlen(step.text)), step.argument,
                    priority);
}

int makeMutex(const Step &step) {
    mutexes[step.number] = semMCreate(step.argument);
    return mutexes[step.number] != nullptr ? OK : ERROR;
}

int makeQueue(const Step &step, int options) {
    queues[step.number] = msgQCreate(step.argument, kMessageSize, options);
    return queues[step.number] != nullptr ? OK : ERROR;
}

int priorityOf(TASK_ID task) {
    int priority = 0;
    return taskPriorityGet(task, &priority) == OK ? priority : ERROR;
}

int writeFile(const Step &step, const char *mode) {
    FILE *const file = fopen(pathOf(step.text), mode);
    if (file == nullptr) {
        return ERROR;
    }
    fwrite(step.content, strlen(step.content), 1, file);
    return fclose(file) == 0 ? OK : ERROR;
}

/// 0 when the file holds just what it must.
int readFile(const Step &step) {
    FILE *const file = fopen(pathOf(step.text), "r");
    if (file == nullptr) {
        return ERROR;
    }
    char content[64] = {};
    fgets(content, sizeof content, file);
    const bool isAll = fgetc(file) == EOF;
    fclose(file);
    return isAll && strcmp(content, step.content) == 0 ? OK : 1;
}

int openDirectory(const Step &step) {
    DIR *const directory = opendir(pathOf(step.text));
    return directory != nullptr ? closedir(directory) : ERROR;
}

int callOfFiles(const Step &step) {
    switch (step.call) {
        case Call::MakeDirectory:
            return jorn_MakeDirectory(pathOf(step.text)) < 0 ? ERROR : OK;
        case Call::OpenDirectory:
            return openDirectory(step);
        case Call::Write:
            return writeFile(step, "w");
        case Call::Append:
            return writeFile(step, "a");
        case Call::Read:
            return readFile(step);
        case Call::Remove:
            return rm(pathOf(step.text));
        default:
            return yaffs_rename(pathOf(step.text, true), pathOf(step.content, true));
    }
}

int callOfTasks(const Step &step) {
    const TASK_ID task = actors[step.number].id;
    switch (step.call) {
        case Call::Delay:
            return taskDelay(step.argument);
        case Call::DeleteTask:
            return taskDelete(task);
        case Call::Priority:
            return priorityOf(task);
        default:
            return callOfFiles(step);
    }
}

int callOf(const Step &step, Actor *actor) {
    switch (step.call) {
        case Call::MakeMutex:
            return makeMutex(step);
        case Call::Take:
            return semTake(mutexes[step.number], step.argument);
        case Call::Give:
            return semGive(mutexes[step.number]);
        case Call::DeleteMutex:
            return semDelete(mutexes[step.number]);
        case Call::MakeQueue:
            return makeQueue(step, MSG_Q_FIFO);
        case Call::MakeFairQueue:
            return makeQueue(step, MSG_Q_PRIORITY);
        case Call::Send:
            return send(step, MSG_PRI_NORMAL);
        case Call::SendUrgent:
            return send(step, MSG_PRI_URGENT);
        case Call::Receive:
            return receive(step, kMessageSize, actor);
        case Call::ReceiveShort:
            return receive(step, 3, actor);
        case Call::CountMessages:
            return msgQNumMsgs(queues[step.number]);
        case Call::DeleteQueue:
            return msgQDelete(queues[step.number]);
        default:
            return callOfTasks(step);
    }
}

int act(Actor *actor) {
    for (;;) {
        const Step *step = nullptr;
        if (msgQReceive(actor->orders, reinterpret_cast<char *>(&step), sizeof step, WAIT_FOREVER) == ERROR) {
            return ERROR;
        }
        errno = 0;
        const int result = callOf(*step, actor);
        actor->error = errno;
        actor->result = result;
    }
}

bool isReceiving(const Step &step) {
    return step.text != nullptr && step.result > 0 &&
           (step.call == Call::Receive || step.call == Call::ReceiveShort || step.call == Call::Returns);
}

/// What went otherwise at a step, or null.
const char *judge(const Scenario &scenario, const Step &step, const Actor &actor) {
    static char text[240];
    const bool isResult = actor.result == step.result;
    // A successful call leaves errno alone, but those of files, which the C library makes.
    const bool isError = step.error == kAny || step.result == kWaits || actor.error == step.error;
    const bool isText = !isReceiving(step) || strcmp(actor.received, step.text) == 0;
    if (isResult && isError && isText) {
        return nullptr;
    }
    snprintf(text, sizeof text, "%s, step %d: %d with errno 0x%x and \"%s\", not %d with 0x%x", scenario.name,
             static_cast<int>(&step - scenario.steps) + 1, actor.result, static_cast<unsigned>(actor.error),
             actor.received, step.result, static_cast<unsigned>(step.error));
    return text;
}

const char *playStep(const Scenario &scenario, const Step &step) {
    if (step.call == Call::Ticks) {
        for (int tick = 0; tick < step.argument; ++tick) {
            around->tick();
            around->settle();
        }
        return nullptr;
    }
    Actor &actor = actors[static_cast<int>(step.who)];
    if (step.call != Call::Returns) {
        actor.result = kWaits;
        actor.error = 0;
        const Step *order = &step;
        msgQSend(actor.orders, reinterpret_cast<char *>(&order), sizeof order, NO_WAIT, MSG_PRI_NORMAL);
        around->settle();
    }
    return judge(scenario, step, actor);
}

}  // namespace

const char *play(const Scenario &scenario, const Platform &platform) {
    around = &platform;
    for (int i = 0; i < kTasks; ++i) {
        actors[i] = Actor();
        actors[i].orders = msgQCreate(1, sizeof(const Step *), MSG_Q_FIFO);
        actors[i].id = taskSpawn(nullptr, kPriorities[i], 0, 3 * 4096, reinterpret_cast<FUNCPTR>(act),
                                 reinterpret_cast<_Vx_usr_arg_t>(&actors[i]), 0, 0, 0, 0, 0, 0, 0, 0, 0);
    }
    platform.settle();
    const char *found = nullptr;
    for (size_t step = 0; step < scenario.count && found == nullptr; ++step) {
        found = playStep(scenario, scenario.steps[step]);
    }
    for (Actor &actor : actors) {
        taskDelete(actor.id);
        msgQDelete(actor.orders);
    }
    for (int i = 0; i < kObjects; ++i) {
        semDelete(mutexes[i]);
        msgQDelete(queues[i]);
        mutexes[i] = nullptr;
        queues[i] = nullptr;
    }
    return found;
}

}  // namespace contract
