#include "platform/GeneratedFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

// Generated files are replaced in one step, with their permissions, whether synced at once or
// later, and a failure leaves nothing behind.
class GeneratedFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void write_bothSyncModes_replaceTheFileWithNothingLeftBeside_data()
    {
        QTest::addColumn<bool>("syncNow");
        QTest::newRow("now") << true;
        QTest::newRow("later") << false;
    }

    void write_bothSyncModes_replaceTheFileWithNothingLeftBeside()
    {
        QFETCH(bool, syncNow);
        const auto sync = syncNow ? GeneratedFile::Sync::now : GeneratedFile::Sync::later;
        QTemporaryDir dir;
        const QString path = dir.filePath(u"Moxley_0123abcd.sh"_s);
        QCOMPARE(GeneratedFile::write(path, "first\n", sync), std::nullopt);
        QCOMPARE(contents(path), "first\n"_ba);
        QCOMPARE(QFileInfo(path).permissions(),
                 QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser);

        const auto ownerAll = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
                              QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser;
        const QByteArray longer(100000, 'x');
        QCOMPARE(GeneratedFile::write(path, longer, sync, ownerAll), std::nullopt);
        GeneratedFile::syncAll();
        QCOMPARE(contents(path), longer);
        QCOMPARE(QFileInfo(path).permissions(), ownerAll);
        QCOMPARE(entries(dir.path()), QStringList{u"Moxley_0123abcd.sh"_s});
    }

    void write_readerOfTheOldFile_keepsReadingTheOldText()
    {
        // Replaced, not rewritten in place: a reader that opened the old file (launchd or a shell
        // reading a script while the app installs a new one) reads it to its end.
        QTemporaryDir dir;
        const QString path = dir.filePath(u"job.plist"_s);
        QCOMPARE(GeneratedFile::write(path, "old text", GeneratedFile::Sync::now), std::nullopt);
        QFile reader(path);
        QVERIFY(reader.open(QIODevice::ReadOnly));
        QCOMPARE(GeneratedFile::write(path, "new", GeneratedFile::Sync::later), std::nullopt);
        QCOMPARE(reader.readAll(), "old text"_ba);
        QCOMPARE(contents(path), "new"_ba);
    }

    void write_folderMissingOrAFile_failsWithTheSystemsTextAndLeavesNothing()
    {
        QTemporaryDir dir;
        const auto missing = GeneratedFile::write(dir.filePath(u"gone/file.timer"_s), "x", GeneratedFile::Sync::now);
        QVERIFY(missing.has_value());
        QVERIFY2(
            missing->startsWith(u"The file “"_s + dir.filePath(u"gone/file.timer"_s) + u"” could not be saved: "_s),
            qPrintable(*missing));
        QVERIFY(!missing->endsWith(u": "_s));

        // A folder where the file should be: the rename fails after the text was written.
        QVERIFY(QDir(dir.path()).mkdir(u"unit.service"_s));
        const auto onFolder = GeneratedFile::write(dir.filePath(u"unit.service"_s), "x", GeneratedFile::Sync::later);
        QVERIFY(onFolder.has_value());
        QVERIFY2(onFolder->contains(u"directory"_s, Qt::CaseInsensitive), qPrintable(*onFolder));
        QCOMPARE(entries(dir.path()), QStringList{u"unit.service"_s});
        QVERIFY(QFileInfo(dir.filePath(u"unit.service"_s)).isDir());
    }
};

QTEST_GUILESS_MAIN(GeneratedFileTest)
#include "test_generated_file.moc"
