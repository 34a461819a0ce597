#pragma once

#include <QString>

#include <memory>

class QFileDialog;
class QWidget;

// Save and open panels behind one seam: a test presets the file name the user "chooses".
class FileDialog
{
public:
    // The chosen path, or an empty text when the user cancels. `filter` as Qt writes it,
    // for example "JSON (*.json)".
    static QString getSaveFileName(QWidget *parent, const QString &caption, const QString &proposedName,
                                   const QString &filter);
    // `directory` empty: the home folder. With `showHidden`, names that start with a dot (a .env
    // file) are listed too.
    static QString getOpenFileName(QWidget *parent, const QString &caption, const QString &filter,
                                   const QString &directory = {}, bool showHidden = false);
    // The open panel getOpenFileName shows.
    static std::unique_ptr<QFileDialog> openDialog(QWidget *parent, const QString &caption, const QString &filter,
                                                   const QString &directory = {}, bool showHidden = false);

    // The next panel returns this at once (an empty text answers as a cancel).
    static void setNextFileName(const QString &fileName);
    // The name the last save panel proposed.
    static QString lastProposedName();
};
