#pragma once

#include "platform/FolderLock.h"
#include "store/TaskStore.h"

#include <memory>

class CommandContext;

// The task store as a changing command uses it: the app's own store and start-up, except that a
// tasks file it cannot read stops the command before anything is swept, installed or written.
// Every failure and notice the store publishes is printed as it comes; once the file has been
// written, finish() posts the change notice. Sessions of several tools take turns: each holds
// a lock on the tasks file's folder from its read to its write, so no tool writes over
// another's change.
// The app takes no part in the lock; a change it saves meanwhile is kept by the store's
// `keepOutsideChanges`.
class StoreSession
{
  public:
    explicit StoreSession(CommandContext &context);
    ~StoreSession();

    // False when the tasks file could not be read: the failure is printed, the command exits 1.
    bool isValid() const { return m_store != nullptr; }
    TaskStore &store() { return *m_store; }

    // The exit status: 1 if the store reported a failure, else 0.
    int finish();

  private:
    CommandContext &m_context;
    FolderLock m_lock;
    std::unique_ptr<TaskStore> m_store;
    bool m_failed = false;
    bool m_saved = false;
};
