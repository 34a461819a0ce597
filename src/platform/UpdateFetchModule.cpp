#include "platform/UpdateFetchModule.h"

#include <QDir>
#include <QFileInfo>
#include <QLibrary>

QString UpdateFetchModule::fileName()
{
    return QStringLiteral(MOXLEY_UPDATE_MODULE_FILE);
}

QStringList UpdateFetchModule::defaultFolders(const QString &programFolder)
{
    QStringList folders;
#ifdef Q_OS_MACOS
    folders << programFolder + QStringLiteral("/../PlugIns");
#endif
    folders << programFolder + QStringLiteral("/" MOXLEY_UPDATE_MODULE_FROM_BIN) << programFolder;
    for (QString &folder : folders) {
        folder = QDir::cleanPath(folder);
    }
    folders.removeDuplicates();
    return folders;
}

UpdateFetchModule::Loaded UpdateFetchModule::load(const QStringList &folders)
{
    Loaded loaded;
    for (const QString &folder : folders) {
        const QString path = folder + u'/' + fileName();
        if (!QFileInfo::exists(path)) {
            continue;
        }
        // The first one found is the one meant: its error is the answer, not a later folder's file.
        QLibrary library(path);
        library.setLoadHints(QLibrary::PreventUnloadHint);
        if (!library.load()) {
            loaded.error = library.errorString();
            return loaded;
        }
        // QLibrary says nothing of a symbol it cannot find: the words are ours.
        const char *entry = QT_STRINGIFY(MOXLEY_UPDATE_FETCHER_ENTRY);
        const auto create = reinterpret_cast<MoxleyCreateUpdateFetcher>(library.resolve(entry));
        if (!create) {
            loaded.error =
                QStringLiteral("%1 has no function %2: it is not an update module of this version of Moxley.")
                    .arg(path, QLatin1String(entry));
        } else {
            loaded.fetcher.reset(create());
            if (!loaded.fetcher) {
                loaded.error = QStringLiteral("%1 made no fetcher.").arg(path);
            }
        }
        return loaded;
    }
    loaded.error = QStringLiteral("%1 is in none of these folders: %2.").arg(fileName(), folders.join(u", "));
    return loaded;
}
