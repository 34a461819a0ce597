#pragma once

#include <functional>
#include <memory>

// The notice the moxley tool posts after it writes the tasks file, and the app listens for.
// macOS: the distributed notification "com.moxley.tasksDidChange". Linux: the D-Bus signal
// com.moxley.Tasks.tasksDidChange on /com/moxley/Tasks on the session bus, when there is a bus.
class ChangeNotice
{
public:
    // Keeps a callback registered; dropping it removes the registration.
    class Observation
    {
    public:
        virtual ~Observation() = default;
    };

    virtual ~ChangeNotice() = default;

    // `callback` runs on the main thread for every notice posted afterwards, by any process,
    // while the returned observation lives. Where no notice can arrive, the observation is inert.
    virtual std::unique_ptr<Observation> observe(std::function<void()> callback) = 0;
    // Tells every observer; returns once the notice has left this process. Silently nothing where
    // there is no way to tell anyone.
    virtual void post() = 0;

    // The platform's notice. On Linux the session bus is the one DBUS_SESSION_BUS_ADDRESS (or
    // $XDG_RUNTIME_DIR/bus) names at the time of the call; the connection is made lazily.
    static std::shared_ptr<ChangeNotice> system();
};
