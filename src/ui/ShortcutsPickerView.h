#pragma once

#include <QDialog>
#include <QStringList>
#include <QUrl>

#include <functional>

class QLineEdit;
class QListWidget;
class QProcess;
class QStackedWidget;

// "Choose a Shortcut": lists the user's Shortcuts through the system's tool without blocking the
// window, filters them as the user types, and hands the chosen name to `onSelect`.
class ShortcutsPickerView : public QDialog
{
    Q_OBJECT

public:
    explicit ShortcutsPickerView(QWidget *parent = nullptr);
    ~ShortcutsPickerView() override;

    void setOnSelect(std::function<void(const QString &)> onSelect) { m_onSelect = std::move(onSelect); }
    // How "Open Shortcuts App" opens the app; the default asks the desktop.
    void setUrlOpener(std::function<void(const QUrl &)> opener) { m_openUrl = std::move(opener); }

    bool isLoading() const { return m_isLoading; }
    const QStringList &shortcuts() const { return m_shortcuts; }
    // The names shown for the current search text.
    QStringList visibleShortcuts() const;

    // The Shortcuts app's address.
    static QUrl shortcutsAppUrl();

Q_SIGNALS:
    void loadingFinished();

protected:
    void showEvent(QShowEvent *event) override;

private:
    QWidget *buildLoadingPage();
    QWidget *buildEmptyPage();
    void startListing();
    void listingEnded(const QByteArray &output);
    void refresh();
    void choose(const QString &name);

    std::function<void(const QString &)> m_onSelect;
    std::function<void(const QUrl &)> m_openUrl;
    QStringList m_shortcuts;
    bool m_isLoading = true;
    bool m_started = false;

    QProcess *m_process = nullptr;
    QLineEdit *m_search;
    QStackedWidget *m_pages;
    QListWidget *m_list;
};
