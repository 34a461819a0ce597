#include "app/ExportImportCommands.h"

#include "model/TaskMigration.h"
#include "store/TaskStore.h"
#include "ui/FileDialog.h"
#include "ui/MessageBox.h"

#include <QAction>
#include <QFile>
#include <QMenu>
#include <QSaveFile>

namespace {

const QString jsonFilter = QStringLiteral("JSON (*.json)");

} // namespace

ExportImportCommands::ExportImportCommands(TaskStore &store, QObject *parent) : QObject(parent), m_store(store)
{
}

void ExportImportCommands::addTo(QMenu *menu)
{
    QAction *exportAction = menu->addAction(QStringLiteral("Export Tasks\u2026"));
    exportAction->setObjectName(QStringLiteral("export-tasks"));
    exportAction->setMenuRole(QAction::NoRole);
    connect(exportAction, &QAction::triggered, this, &ExportImportCommands::exportTasks);
    QAction *importAction = menu->addAction(QStringLiteral("Import Tasks\u2026"));
    importAction->setObjectName(QStringLiteral("import-tasks"));
    importAction->setMenuRole(QAction::NoRole);
    connect(importAction, &QAction::triggered, this, &ExportImportCommands::importTasks);
}

void ExportImportCommands::exportTasks()
{
    const QString path = FileDialog::getSaveFileName(m_parent, QStringLiteral("Export Tasks"),
                                                     QStringLiteral("Moxley-tasks.json"), jsonFilter);
    if (path.isEmpty()) {
        return;
    }
    // A failed write goes unreported, as the command has always behaved.
    QSaveFile file(path);
    const QByteArray bytes = TaskMigration::encode(m_store.tasks());
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size()) {
        file.commit();
    }
}

void ExportImportCommands::importTasks()
{
    const QString path = FileDialog::getOpenFileName(m_parent, QStringLiteral("Import Tasks"), jsonFilter);
    if (path.isEmpty()) {
        return;
    }
    const QList<MessageBox::Button> ok{{QStringLiteral("OK"), MessageBox::Role::accept}};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        MessageBox::show(m_parent, MessageBox::Style::warning, QStringLiteral("Import Failed"), file.errorString(), ok);
        return;
    }
    const TaskStore::ImportResult result = m_store.importTasks(file.readAll());
    if (result.error) {
        MessageBox::show(m_parent, MessageBox::Style::warning, QStringLiteral("Import Failed"), *result.error, ok);
        return;
    }
    MessageBox::show(m_parent, MessageBox::Style::information, QStringLiteral("Import Complete"), result.summary(), ok);
}
