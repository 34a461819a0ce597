#include "app/MainWindow.h"

#include "ui/ContentView.h"
#include "ui/Icons.h"

#include <QToolBar>

MainWindow::MainWindow(TaskStore &store, QWidget *parent) : QMainWindow(parent), m_content(new ContentView(store, this))
{
    setObjectName(QStringLiteral("main-window"));
    setWindowTitle(QStringLiteral("Moxley"));
    setWindowIcon(Icons::appIcon());
    setCentralWidget(m_content);

    QToolBar *toolBar = m_content->toolBar();
    toolBar->setMovable(false);
    toolBar->setFloatable(false);
    toolBar->toggleViewAction()->setVisible(false);
    addToolBar(Qt::TopToolBarArea, toolBar);
    setUnifiedTitleAndToolBarOnMac(true);

    // The minimum follows from what the views need.
    resize(kDefaultSize);
}
