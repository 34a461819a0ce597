#include "ui/FileDialog.h"

#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>

#include <optional>

namespace {

std::optional<QString> &nextFileName()
{
    static std::optional<QString> name;
    return name;
}

QString &proposedName()
{
    static QString name;
    return name;
}

std::optional<QString> takePreset()
{
    std::optional<QString> preset = nextFileName();
    nextFileName().reset();
    if (!preset && QGuiApplication::platformName() == u"offscreen") {
        qWarning("FileDialog: no file name preset; answering as cancelled");
        return QString();
    }
    return preset;
}

} // namespace

QString FileDialog::getSaveFileName(QWidget *parent, const QString &caption, const QString &proposed,
                                    const QString &filter)
{
    proposedName() = proposed;
    if (const std::optional<QString> preset = takePreset()) {
        return *preset;
    }
    QFileDialog dialog(parent, caption, QDir::homePath(), filter);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setDefaultSuffix(QStringLiteral("json"));
    dialog.selectFile(proposed);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return {};
    }
    return dialog.selectedFiles().first();
}

QString FileDialog::getOpenFileName(QWidget *parent, const QString &caption, const QString &filter,
                                    const QString &directory, bool showHidden)
{
    if (const std::optional<QString> preset = takePreset()) {
        return *preset;
    }
    const std::unique_ptr<QFileDialog> dialog = openDialog(parent, caption, filter, directory, showHidden);
    if (dialog->exec() != QDialog::Accepted || dialog->selectedFiles().isEmpty()) {
        return {};
    }
    return dialog->selectedFiles().constFirst();
}

std::unique_ptr<QFileDialog> FileDialog::openDialog(QWidget *parent, const QString &caption, const QString &filter,
                                                    const QString &directory, bool showHidden)
{
    auto dialog =
        std::make_unique<QFileDialog>(parent, caption, directory.isEmpty() ? QDir::homePath() : directory, filter);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(QFileDialog::ExistingFile);
    if (showHidden) {
        dialog->setFilter(dialog->filter() | QDir::Hidden);
    }
    return dialog;
}

void FileDialog::setNextFileName(const QString &fileName)
{
    nextFileName() = fileName;
}

QString FileDialog::lastProposedName()
{
    return proposedName();
}
