/** @file task.h  A task of the BMC: what it says of itself, and how its end is waited for. */
#ifndef QVRFCTL_DAY_TASK_H
#define QVRFCTL_DAY_TASK_H

#include <functional>
#include <string>

#include "screen.h"
#include "service.h"

namespace qvrfctl {

struct Order;
struct Reply;

/**
 * What an answer of 202 leaves to look at: the task, and the monitor that answers in its place. Either may be empty.
 */
struct Accepted {
    std::string task;
    std::string monitor;
};
Accepted acceptedBy(const Reply& reply);

/** id, name, state, status, percent, start, end, messages, path. */
Value taskRow(const Value& task);

/** 30 minutes without another word: an update takes long, and a task that hangs must not hang the command. */
void limitTask(const Context& context, unsigned seconds);

/**
 * Waits until the task is over, and says on a terminal how far it is. The row of its end: "state" is null where the BMC
 * has forgotten it, which is never success. @p mayRestart: a BMC that is gone is waited for.
 */
Value waitForTask(Service& service, const Accepted& accepted, const std::string& what, bool mayRestart = false);

/**
 * Calls @p read, again when the BMC has come back where it is gone: an update may restart it. The time limit of the
 * command ends that.
 */
Value readThroughRestart(Service& service, const std::function<Value()>& read);

/** How it ended, and each message that is not OK with what to do. */
void showTask(Screen& screen, const Value& end);
/** @throws Failure unless it was completed, and not with Critical */
void throwIfFailed(const Value& end);
bool isDone(const Value& end);

}  // namespace qvrfctl

#endif
