#pragma once

#include <QByteArray>
#include <QtGlobal>

// Sets TZ for this process and the child processes it starts; puts the old value back.
class ScopedTimeZone
{
public:
    explicit ScopedTimeZone(const QByteArray &zone) : m_had(qEnvironmentVariableIsSet("TZ")), m_old(qgetenv("TZ"))
    {
        qputenv("TZ", zone);
    }
    ~ScopedTimeZone()
    {
        if (m_had) {
            qputenv("TZ", m_old);
        } else {
            qunsetenv("TZ");
        }
    }
    ScopedTimeZone(const ScopedTimeZone &) = delete;
    ScopedTimeZone &operator=(const ScopedTimeZone &) = delete;

private:
    bool m_had;
    QByteArray m_old;
};
