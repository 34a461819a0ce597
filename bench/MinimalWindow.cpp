// The start-up reference: the least a Qt Widgets program does to show a main window.
#include <QApplication>
#include <QLabel>
#include <QMainWindow>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QMainWindow window;
    window.setCentralWidget(new QLabel(QStringLiteral("Hello")));
    window.resize(700, 500);
    window.show();
    return app.exec();
}
