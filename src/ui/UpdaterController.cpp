#include "ui/UpdaterController.h"

#include "ui/MessageBox.h"
#ifdef MOXLEY_HAVE_SPARKLE
#include "ui/SparkleUpdater.h"
#endif

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
    Q_UNUSED(feedUrl);
    Q_UNUSED(currentVersion);
    m_sparkle = std::shared_ptr<void>(SparkleUpdater::create(), &SparkleUpdater::destroy);
#else
    m_checker = new UpdateChecker(feedUrl, currentVersion, this);
    connect(m_checker, &UpdateChecker::canCheckForUpdatesChanged, this, &UpdaterController::canCheckForUpdatesChanged);
    connect(m_checker, &UpdateChecker::checkFinished, this, &UpdaterController::showResult);
#endif
}

UpdaterController::~UpdaterController() = default;

bool UpdaterController::usesSparkle()
{
#ifdef MOXLEY_HAVE_SPARKLE
    return true;
#else
    return false;
#endif
}

bool UpdaterController::canCheckForUpdates() const
{
#ifdef MOXLEY_HAVE_SPARKLE
    return SparkleUpdater::canCheckForUpdates(m_sparkle.get());
#else
    return m_checker->canCheckForUpdates();
#endif
}

void UpdaterController::checkForUpdates()
{
#ifdef MOXLEY_HAVE_SPARKLE
    SparkleUpdater::checkForUpdates(m_sparkle.get());
#else
    m_checker->checkForUpdates();
#endif
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
