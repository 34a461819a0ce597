#include "app/MoxleyApp.h"

#include "app/AppMenus.h"
#include "app/CliInstaller.h"
#include "app/ExportImportCommands.h"
#include "app/FailureAlerts.h"
#include "app/MainWindow.h"
#include "app/StartUpJobs.h"
#include "app/TasksFileWatcher.h"
#include "platform/AppPresence.h"
#include "systemd/SchedulerChoice.h"
#include "ui/ContentView.h"
#include "ui/MessageBox.h"
#include "ui/SidebarSection.h"
#include "ui/UpdaterController.h"

#include <QApplication>
#include <QDesktopServices>
#include <QMenuBar>
#include <QTimer>

MoxleyApp::Options MoxleyApp::defaultOptions(const QStringList &arguments)
{
    Options options;
    options.store = TaskStore::defaultOptions(arguments);
    const SchedulerChoice::Choice choice = SchedulerChoice::fromEnvironment();
    options.schedulerError = choice.error;
    // launchd is the store's own default, built from whatever wake service the options end up with.
    if (choice.kind.value_or(SchedulerChoice::platformDefault()) == JobScheduler::Kind::systemd) {
        options.store.scheduler = SchedulerChoice::make(JobScheduler::Kind::systemd, options.store.launchdService,
                                                        options.store.pmsetService);
    }
    options.version = QStringLiteral(MOXLEY_VERSION);
    options.cliToolPath = CliInstaller::bundledToolPath();
    return options;
}

MoxleyApp::MoxleyApp(Options options, QObject *parent)
    : QObject(parent), m_options(std::move(options)), m_store(std::make_unique<TaskStore>(m_options.store)),
      m_updater(std::make_unique<UpdaterController>(m_options.feedUrl, m_options.version)),
      m_exportImport(std::make_unique<ExportImportCommands>(*m_store))
{
    if (m_options.urlOpener) {
        m_updater->setUrlOpener(m_options.urlOpener);
    }
    if (m_options.fileWatchDelayMs >= 0) {
        m_watcher = std::make_unique<TasksFileWatcher>(*m_store, m_options.fileWatchDelayMs);
    }
    if (m_options.alerts) {
        // Following every task's runs file takes a stat or three each, which the window's first
        // paint need not wait for.
        if (!m_options.store.deferStartUpJobs) {
            startAlerts();
        }
        m_presence = std::make_unique<AppPresence>();
        connect(m_presence.get(), &AppPresence::showTaskRequested, this, &MoxleyApp::showTask);
    }
#ifdef Q_OS_MACOS
    // A Mac program keeps running with its window closed; its menus stay, and clicking its Dock
    // icon brings the window back.
    m_globalMenuBar = std::make_unique<QMenuBar>(nullptr);
    AppMenus::build(m_globalMenuBar.get(), *this);
    QApplication::setQuitOnLastWindowClosed(false);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive && !m_window) {
            showMainWindow();
        }
    });
#endif
}

void MoxleyApp::startAlerts()
{
    if (!m_options.alerts || m_alerts) {
        return;
    }
    m_alerts = std::make_unique<FailureAlerts>(*m_store);
    connect(m_alerts.get(), &FailureAlerts::showTaskRequested, this, &MoxleyApp::showTask);
}

MoxleyApp::~MoxleyApp()
{
    // The window's views hold on to the store, so the window goes first.
    delete m_window.data();
}

MainWindow *MoxleyApp::showMainWindow()
{
    if (!m_window) {
        m_window = new MainWindow(*m_store);
        m_window->setAttribute(Qt::WA_DeleteOnClose);
#ifndef Q_OS_MACOS
        AppMenus::build(m_window->menuBar(), *this);
#endif
        connect(this, &MoxleyApp::addNewTask, m_window->contentView(), &ContentView::addNewTask);
        m_updater->setDialogParent(m_window);
        if (m_options.store.deferStartUpJobs && !m_startUpJobs) {
            m_startUpJobs = std::make_unique<StartUpJobs>(*m_store, *m_window);
            connect(m_startUpJobs.get(), &StartUpJobs::windowPainted, this, &MoxleyApp::startAlerts);
        }
        m_exportImport->setDialogParent(m_window);
        if (m_options.schedulerError) {
            const QString text = *m_options.schedulerError;
            m_options.schedulerError.reset();
            QTimer::singleShot(0, m_window, [window = m_window, text] {
                MessageBox::show(window, MessageBox::Style::critical, QStringLiteral("Error"), text,
                                 {{QStringLiteral("OK"), MessageBox::Role::accept}});
            });
        }
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
    return m_window;
}

void MoxleyApp::showTask(const QUuid &id)
{
    MainWindow *window = showMainWindow();
    if (m_store->task(id)) {
        window->contentView()->setSelection(SidebarSection::task(id));
    }
}

bool MoxleyApp::isPresentOnBus() const
{
    return m_presence && m_presence->isClaimed();
}

void MoxleyApp::newTask()
{
    Q_EMIT addNewTask();
}

void MoxleyApp::installCliCommand()
{
    CliInstaller::install(m_window, m_options.cliToolPath);
}

void MoxleyApp::openSupportPage()
{
    openUrl(m_options.supportUrl);
}

void MoxleyApp::showAbout()
{
    MessageBox::show(m_window, MessageBox::Style::information, QStringLiteral("About Moxley"),
                     u"Moxley " % m_options.version %
                         u"\n\nSchedules your own shell commands as per-user launchd jobs.",
                     {{QStringLiteral("OK"), MessageBox::Role::accept}});
}

void MoxleyApp::quit()
{
    if (m_window) {
        m_window->close();
    }
    QCoreApplication::quit();
}

void MoxleyApp::openUrl(const QUrl &url) const
{
    if (m_options.urlOpener) {
        m_options.urlOpener(url);
    } else {
        // A failure to open it is not reported.
        QDesktopServices::openUrl(url);
    }
}
