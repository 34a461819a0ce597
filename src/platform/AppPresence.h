#pragma once

#include <QObject>
#include <QString>
#include <QUuid>

// The running app on the session bus: it owns the name com.moxley.Moxley and answers ShowTask(id)
// on /com/moxley/Moxley. The alert command leaves alerts to an app that is there, and a second
// `moxley-app --show-task ID` hands its task to the first. On macOS (no session bus) nothing is
// ever claimed or found.
class AppPresence : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.moxley.Moxley")

public:
    static const QString kServiceName;

    // Claims the name for the object's lifetime, when it is free.
    explicit AppPresence(QObject *parent = nullptr);
    ~AppPresence() override;

    bool isClaimed() const { return m_claimed; }

    // Whether some process owns the name now.
    static bool isAppRunning();
    // Asks the running app to show the task's detail; false when no app answered.
    static bool askToShow(const QUuid &taskId);

public Q_SLOTS:
    Q_SCRIPTABLE void ShowTask(const QString &id);

Q_SIGNALS:
    void showTaskRequested(const QUuid &id);

private:
    QString m_connectionName;
    bool m_claimed = false;
};
