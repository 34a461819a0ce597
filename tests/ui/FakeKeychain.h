#pragma once

#include "platform/Keychain.h"

#include <QHash>
#include <QList>
#include <QPair>

// A keychain in memory that remembers every call, for the Gmail sheet's tests.
class FakeKeychain : public Keychain
{
public:
    std::optional<QString> save(const QString &address, const QString &password) override
    {
        saves.append({address, password});
        if (failure) {
            return failure;
        }
        items.insert(address, password);
        return std::nullopt;
    }

    bool hasCredentials(const QString &address) override
    {
        queries.append(address);
        return items.contains(address);
    }

    QHash<QString, QString> items;
    QList<QPair<QString, QString>> saves;
    QStringList queries;
    std::optional<QString> failure;
};
