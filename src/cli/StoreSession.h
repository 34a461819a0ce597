#pragma once

#include "store/TaskStore.h"

#include <memory>

class CommandContext;

// The task store as a changing command uses it: the app's own store and start-up, except that a
// tasks file it cannot read stops the command before anything is swept, installed or written.
// Every failure and notice the store publishes is printed as it comes; once the file has been
// written, finish() posts the change notice. Each save re-reads the file under the short lock
// that the app's store takes too, so no writer's change is lost (TaskStore::save).
class StoreSession
{
public:
    explicit StoreSession(CommandContext &context);
    ~StoreSession();

    // False when the tasks file could not be read: the failure is printed, the command exits 1.
    bool isValid() const { return m_store != nullptr; }
    TaskStore &store() { return *m_store; }

    // The tasks file was written by this session.
    bool saved() const { return m_saved; }
    // The exit status: 1 if the store reported a failure, else 0.
    int finish();

private:
    CommandContext &m_context;
    std::unique_ptr<TaskStore> m_store;
    bool m_failed = false;
    bool m_saved = false;
};
