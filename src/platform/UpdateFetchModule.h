#pragma once

#include "platform/UpdateFetcher.h"

#include <QString>
#include <QStringList>

#include <memory>

// Finds and loads the module moxley-update-fetch, which holds the update check's network code.
namespace UpdateFetchModule {

// The module's file name, as the build writes it.
QString fileName();

// Where a program in the folder `programFolder` looks for the module, in this order: on macOS the
// bundle's Contents/PlugIns; the installed layout (the library folder's moxley/ beside the
// program's bin/); the program's own folder (the build tree's bin/).
QStringList defaultFolders(const QString &programFolder);

struct Loaded {
    std::unique_ptr<UpdateFetcher> fetcher;
    QString error; // why there is no fetcher
};

// Loads the module from the first of `folders` that holds it and makes a fetcher. The module is
// never unloaded: its QtNetwork may keep threads and caches to the end of the process.
Loaded load(const QStringList &folders);

} // namespace UpdateFetchModule
