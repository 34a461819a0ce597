#pragma once

#include "platform/UpdateChecker.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QWidget>

#include <functional>
#include <memory>

// The program's one updater, created at start and kept until the end. On macOS with Sparkle it
// owns Sparkle's standard updater controller, which does the checking and talks to the user.
// Everywhere else our own updater reads the same appcast and says in a dialog whether a newer
// version exists, with a link to its release notes.
class UpdaterController : public QObject
{
    Q_OBJECT

public:
    UpdaterController(const QUrl &feedUrl, const QString &currentVersion, QObject *parent = nullptr);
    ~UpdaterController() override;

    // Whether the Sparkle framework does the work: macOS builds that found it, run from the app
    // bundle. Test programs and a bare executable get our own updater, so they never start
    // Sparkle (which needs the bundle's Info.plist and would complain at every start).
    bool usesSparkle() const { return m_sparkle != nullptr; }
    // Whether `path` is the executable of an app bundle: ….app/Contents/MacOS/name.
    static bool isBundledExecutable(const QString &path);
    // Sparkle says nothing when a check starts or ends: whoever shows the state reads it again.
    bool announcesChanges() const { return !usesSparkle(); }

    // False while a check is under way.
    bool canCheckForUpdates() const;
    // Checks now, interactively: the answer comes in a dialog.
    void checkForUpdates();

    // Where the dialogs appear (our own updater only).
    void setDialogParent(QWidget *parent) { m_dialogParent = parent; }
    // How "Release Notes" opens its address; the default browser unless a test says otherwise.
    void setUrlOpener(std::function<void(const QUrl &)> opener) { m_openUrl = std::move(opener); }
    // Our own updater's checker (null with Sparkle), for its time-out.
    UpdateChecker *checker() const { return m_checker; }

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);
    // The check's dialog was answered (our own updater only).
    void checkEnded();

private:
    void showResult(const UpdateChecker::Result &result);

    UpdateChecker *m_checker = nullptr;
    std::shared_ptr<void> m_sparkle; // SPUStandardUpdaterController, with Sparkle
    QPointer<QWidget> m_dialogParent;
    std::function<void(const QUrl &)> m_openUrl;
};
