#include <QApplication>
#include <QLabel>
#include <QMainWindow>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Moxley"));
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Moxley"));
    window.resize(700, 500);
    window.show();
    return app.exec();
}
