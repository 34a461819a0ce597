#pragma once

#include <QMainWindow>
#include <QSize>

class ContentView;
class TaskStore;

// The single main window: ContentView inside a titled window of kDefaultSize to start, resizable
// within the limits the content sets. Its toolbar is the content's, fixed in place, with no
// customisation menu.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    // Wide enough for the timeline's hour labels and a task's detail beside the sidebar.
    static constexpr QSize kDefaultSize{900, 600};

    explicit MainWindow(TaskStore &store, QWidget *parent = nullptr);

    ContentView *contentView() const { return m_content; }

    // No "show/hide toolbar" menu on a right click: the toolbar is not customisable.
    QMenu *createPopupMenu() override { return nullptr; }

private:
    ContentView *m_content;
};
