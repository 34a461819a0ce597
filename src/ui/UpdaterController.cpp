#include "ui/UpdaterController.h"

#include "ui/MessageBox.h"
#ifdef MOXLEY_HAVE_SPARKLE
#include "ui/SparkleUpdater.h"
#endif

#include <QCoreApplication>
#include <QDesktopServices>

namespace {

QString releaseLink(const Appcast::Release &release)
{
    return release.releaseNotesLink.isEmpty() ? release.downloadUrl : release.releaseNotesLink;
}

} // namespace

UpdaterController::UpdaterController(const QUrl &feedUrl, const QString &currentVersion, QObject *parent)
    : QObject(parent), m_openUrl([](const QUrl &url) { QDesktopServices::openUrl(url); })
{
#ifdef MOXLEY_HAVE_SPARKLE
    // Sparkle reads its feed address from the bundle's Info.plist (SUFeedURL).
    if (isBundledExecutable(QCoreApplication::applicationFilePath())) {
        m_sparkle = std::shared_ptr<void>(SparkleUpdater::create(), &SparkleUpdater::destroy);
        return;
    }
#endif
    m_checker = new UpdateChecker(feedUrl, currentVersion, this);
    connect(m_checker, &UpdateChecker::canCheckForUpdatesChanged, this, &UpdaterController::canCheckForUpdatesChanged);
    connect(m_checker, &UpdateChecker::checkFinished, this, &UpdaterController::showResult);
}

UpdaterController::~UpdaterController() = default;

bool UpdaterController::isBundledExecutable(const QString &path)
{
    const QStringList parts = path.split(u'/');
    const qsizetype n = parts.size();
    return n >= 4 && parts[n - 2] == u"MacOS" && parts[n - 3] == u"Contents" && parts[n - 4].endsWith(u".app") &&
           parts[n - 4].size() > 4;
}

bool UpdaterController::canCheckForUpdates() const
{
#ifdef MOXLEY_HAVE_SPARKLE
    if (m_sparkle) {
        return SparkleUpdater::canCheckForUpdates(m_sparkle.get());
    }
#endif
    return m_checker->canCheckForUpdates();
}

void UpdaterController::checkForUpdates()
{
#ifdef MOXLEY_HAVE_SPARKLE
    if (m_sparkle) {
        SparkleUpdater::checkForUpdates(m_sparkle.get());
        return;
    }
#endif
    m_checker->checkForUpdates();
}

void UpdaterController::showResult(const UpdateChecker::Result &result)
{
    QWidget *parent = m_dialogParent.data();
    switch (result.status) {
    case UpdateChecker::Result::Status::newerAvailable: {
        const Appcast::Release &release = *result.release;
        const QString link = releaseLink(release);
        QString text =
            u"Moxley " % release.displayVersion() % u" is now available. You have " % result.currentVersion % u'.';
        QList<MessageBox::Button> buttons;
        if (!link.isEmpty()) {
            text += u"\n\nRelease notes: " % link;
            buttons << MessageBox::Button{QStringLiteral("Release Notes"), MessageBox::Role::accept}
                    << MessageBox::Button{QStringLiteral("Later"), MessageBox::Role::cancel};
        } else {
            buttons << MessageBox::Button{QStringLiteral("OK"), MessageBox::Role::accept};
        }
        const QString answer = MessageBox::show(parent, MessageBox::Style::information,
                                                QStringLiteral("A new version of Moxley is available!"), text, buttons);
        if (answer == u"Release Notes") {
            m_openUrl(QUrl(link));
        }
        break;
    }
    case UpdateChecker::Result::Status::upToDate:
        MessageBox::show(parent, MessageBox::Style::information, QStringLiteral("You're up to date!"),
                         u"Moxley " % result.currentVersion % u" is currently the newest version available.",
                         {{QStringLiteral("OK"), MessageBox::Role::accept}});
        break;
    case UpdateChecker::Result::Status::failed:
        MessageBox::show(parent, MessageBox::Style::warning, QStringLiteral("Update Error"),
                         u"An error occurred in retrieving update information. Please try again later.\n\n" %
                             result.error,
                         {{QStringLiteral("OK"), MessageBox::Role::accept}});
        break;
    }
    Q_EMIT checkEnded();
}
