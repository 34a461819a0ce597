#include "ui/ShortcutsPickerView.h"

#include "launchd/ShortcutsList.h"
#include "ui/ViewStyle.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {
enum Page { loadingPage, emptyPage, listPage };
}

ShortcutsPickerView::ShortcutsPickerView(QWidget *parent)
    : QDialog(parent), m_openUrl([](const QUrl &url) { QDesktopServices::openUrl(url); }), m_search(new QLineEdit),
      m_pages(new QStackedWidget), m_list(new QListWidget)
{
    setWindowTitle(QStringLiteral("Choose a Shortcut"));
    setObjectName(QStringLiteral("shortcuts-picker"));
    resize(380, 440);

    auto *title = ViewStyle::sheetTitle(QStringLiteral("Choose a Shortcut"));
    title->setObjectName(QStringLiteral("shortcuts-title"));

    m_search->setPlaceholderText(QStringLiteral("Search"));
    m_search->setObjectName(QStringLiteral("shortcuts-search"));
    m_search->setClearButtonEnabled(true);
    connect(m_search, &QLineEdit::textChanged, this, &ShortcutsPickerView::refresh);

    m_list->setObjectName(QStringLiteral("shortcuts-list"));
    m_list->setUniformItemSizes(true);
    m_list->setSpacing(2);
    connect(m_list, &QListWidget::itemClicked, this, [this](QListWidgetItem *item) { choose(item->text()); });
    connect(m_list, &QListWidget::itemActivated, this, [this](QListWidgetItem *item) { choose(item->text()); });

    m_pages->insertWidget(loadingPage, buildLoadingPage());
    m_pages->insertWidget(emptyPage, buildEmptyPage());
    m_pages->insertWidget(listPage, m_list);

    auto *cancel = new QPushButton(QStringLiteral("Cancel"));
    cancel->setObjectName(QStringLiteral("shortcuts-cancel"));
    cancel->setAutoDefault(false);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cancel);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->setSpacing(10);
    layout->addWidget(title);
    layout->addWidget(m_search);
    layout->addWidget(m_pages, 1);
    layout->addLayout(buttons);
    refresh();
}

QWidget *ShortcutsPickerView::buildLoadingPage()
{
    auto *loading = new QWidget;
    auto *busy = new QProgressBar;
    busy->setRange(0, 0);
    busy->setTextVisible(false);
    busy->setFixedSize(120, 6);
    auto *loadingText = ViewStyle::formCaption(QStringLiteral("Loading shortcuts…"));
    loadingText->setObjectName(QStringLiteral("shortcuts-loading"));
    loadingText->setAlignment(Qt::AlignCenter);
    auto *loadingLayout = new QVBoxLayout(loading);
    loadingLayout->addStretch();
    loadingLayout->addWidget(busy, 0, Qt::AlignHCenter);
    loadingLayout->addWidget(loadingText);
    loadingLayout->addStretch();
    return loading;
}

QWidget *ShortcutsPickerView::buildEmptyPage()
{
    auto *empty = new QWidget;
    auto *emptyTitle = ViewStyle::sheetTitle(QStringLiteral("No Shortcuts Found"));
    emptyTitle->setObjectName(QStringLiteral("shortcuts-empty-title"));
    emptyTitle->setAlignment(Qt::AlignCenter);
    auto *emptyText = ViewStyle::formCaption(QStringLiteral("Create a shortcut in the Shortcuts app first."));
    emptyText->setAlignment(Qt::AlignCenter);
    auto *openApp = new QPushButton(QStringLiteral("Open Shortcuts App"));
    openApp->setObjectName(QStringLiteral("shortcuts-open-app"));
    openApp->setAutoDefault(false);
    connect(openApp, &QPushButton::clicked, this, [this] { m_openUrl(shortcutsAppUrl()); });
    auto *emptyLayout = new QVBoxLayout(empty);
    emptyLayout->setSpacing(8);
    emptyLayout->addStretch();
    emptyLayout->addWidget(emptyTitle);
    emptyLayout->addWidget(emptyText);
    emptyLayout->addSpacing(6);
    emptyLayout->addWidget(openApp, 0, Qt::AlignHCenter);
    emptyLayout->addStretch();
    return empty;
}

ShortcutsPickerView::~ShortcutsPickerView() = default;

QUrl ShortcutsPickerView::shortcutsAppUrl()
{
    return QUrl(QStringLiteral("shortcuts://"));
}

void ShortcutsPickerView::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (!m_started) {
        m_started = true;
        startListing();
    }
}

void ShortcutsPickerView::startListing()
{
    // Asynchronous: the window keeps drawing while the tool runs; the result arrives through
    // the event loop on this thread.
    m_process = new QProcess(this);
    m_process->setStandardInputFile(QProcess::nullDevice());
    m_process->setStandardErrorFile(QProcess::nullDevice());
    connect(m_process, &QProcess::finished, this, [this] { listingEnded(m_process->readAllStandardOutput()); });
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            listingEnded({});
        }
    });
    m_process->start(ShortcutsList::program(), ShortcutsList::arguments());
}

void ShortcutsPickerView::listingEnded(const QByteArray &output)
{
    if (!m_isLoading) {
        return;
    }
    m_shortcuts = ShortcutsList::parse(output);
    m_isLoading = false;
    refresh();
    Q_EMIT loadingFinished();
}

QStringList ShortcutsPickerView::visibleShortcuts() const
{
    return ShortcutsList::filter(m_shortcuts, m_search->text());
}

void ShortcutsPickerView::refresh()
{
    m_search->setEnabled(!m_isLoading);
    m_search->setVisible(m_isLoading || !m_shortcuts.isEmpty());
    if (m_isLoading) {
        m_pages->setCurrentIndex(loadingPage);
        return;
    }
    if (m_shortcuts.isEmpty()) {
        m_pages->setCurrentIndex(emptyPage);
        return;
    }
    m_list->clear();
    for (const QString &name : visibleShortcuts()) {
        auto *item = new QListWidgetItem(name, m_list);
        item->setSizeHint(QSize(0, 28));
    }
    m_pages->setCurrentIndex(listPage);
}

void ShortcutsPickerView::choose(const QString &name)
{
    if (m_onSelect) {
        m_onSelect(name);
    }
    accept();
}
