#include "common/Core/findings.h"
#include "common/Core/task_type_config.h"
#include "support/literals.h"
#include "support/odd_file.h"
#include "support/root_places.h"
#include "support/temp_root.h"

#include <QTest>

#include <sys/inotify.h>
#include <unistd.h>

class TestTaskTypeConfig : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void worksInSessionByDefault();
    void saysWhetherItWorksInSession_data();
    void saysWhetherItWorksInSession();
    void prefersTheUsersFile();
    void hasNoFileForAnOddType_data();
    void hasNoFileForAnOddType();
    void opensNothingOutsideItsDirectory();

private:
    [[nodiscard]] bool worksInSession(const QString &type) const
    {
        return Core::TaskTypeConfig(type, placesOf(root), Core::LoggedFindings::instance())
            .worksInSession();
    }

    TempRoot root;
};

void TestTaskTypeConfig::worksInSessionByDefault()
{
    QVERIFY(worksInSession(u"None"_s));
    QVERIFY(worksInSession(QString()));
    QVERIFY(worksInSession(u"../../none"_s));
}

void TestTaskTypeConfig::saysWhetherItWorksInSession_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("works");
    QTest::newRow("false") << QByteArray("[TaskType]\nWorksInSession=false\n") << false;
    QTest::newRow("False") << QByteArray("[TaskType]\nWorksInSession=False\n") << false;
    QTest::newRow("0") << QByteArray("[TaskType]\nWorksInSession=0\n") << false;
    QTest::newRow("empty") << QByteArray("[TaskType]\nWorksInSession=\n") << false;
    QTest::newRow("true") << QByteArray("[TaskType]\nWorksInSession=true\n") << true;
    QTest::newRow("1") << QByteArray("[TaskType]\nWorksInSession=1\n") << true;
    QTest::newRow("TRUE") << QByteArray("[TaskType]\nWorksInSession=TRUE\n") << true;
    QTest::newRow("yes") << QByteArray("[TaskType]\nWorksInSession=Yes\n") << true;
    QTest::newRow("no") << QByteArray("[TaskType]\nWorksInSession=no\n") << false;
    QTest::newRow("on") << QByteArray("[TaskType]\nWorksInSession=ON\n") << true;
    QTest::newRow("off") << QByteArray("[TaskType]\nWorksInSession=off\n") << false;
    QTest::newRow("another number") << QByteArray("[TaskType]\nWorksInSession=-2\n") << true;
    QTest::newRow("no boolean") << QByteArray("[TaskType]\nWorksInSession=perhaps\n") << false;
    QTest::newRow("a list") << QByteArray("[TaskType]\nWorksInSession=true, true\n") << false;
    QTest::newRow("another group") << QByteArray("[Other]\nWorksInSession=false\n") << true;
    QTest::newRow("no group") << QByteArray("WorksInSession=false\n") << true;
    QTest::newRow("far too large")
        << QByteArray("[TaskType]\nWorksInSession=false\n") + QByteArray(2 << 20, ';') << true;
    QTest::newRow("a value that would crash a deserialiser")
        << "[TaskType]\nWorksInSession=" + OddFile::fatalValue() + "\n"
        << false;
    QTest::newRow("a harmless object")
        << QByteArray("[TaskType]\nWorksInSession=@Variant(\\0\\0\\0\\x1\\x1)\n") << false;
    QTest::newRow("binary") << QByteArray("\0\x1\x2[\xff", 5) << true;
}

void TestTaskTypeConfig::saysWhetherItWorksInSession()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, works);
    // A new file for each case, in case the reader caches files.
    static int number = 0;
    const QString type = u"Type%1"_s.arg(++number);
    root.write(u"/usr/share/orvane/task-types/%1.conf"_s.arg(type), text);
    QCOMPARE(worksInSession(type), works);
}

void TestTaskTypeConfig::prefersTheUsersFile()
{
    root.serveType(u"Both"_s);
    root.write(u"/home/data/orvane/task-types/Both.conf"_s, "[TaskType]\nWorksInSession=true\n");
    QVERIFY(worksInSession(u"Both"_s));
}

void TestTaskTypeConfig::hasNoFileForAnOddType_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("mayHaveFile");
    const auto row = [](const char *name, const QString &type, bool may) {
        QTest::newRow(name) << type << may;
    };
    row("a word", u"Sync"_s, true);
    row("a word with signs", u"my-type v1.2%1"_s, true);
    row("letters of other scripts", QString::fromUtf8("\u00dcbung"), true);
    row("a directory", u"vendor/Sync"_s, true);
    row("dots in a word", u"..Sync.."_s, true);
    row("three dots", u"..."_s, true);
    row("255 bytes", QString(255, QLatin1Char('x')), true);
    row("nothing", QString(), false);
    row("256 bytes", QString(256, QLatin1Char('x')), false);
    row("256 bytes in fewer characters", QString(128, QChar(0xe4)), false);
    row("a dot", u"."_s, false);
    row("two dots", u".."_s, false);
    row("the same file in another spelling", u"./Sync"_s, false);
    row("a dot inside", u"vendor/./Sync"_s, false);
    row("up and down", u"vendor/../Sync"_s, false);
    row("out of the directory", u"../../../home/u/v"_s, false);
    row("up at the end", u"Sync/.."_s, false);
    row("a slash first", u"/Sync"_s, false);
    row("a slash last", u"Sync/"_s, false);
    row("two slashes", u"vendor//Sync"_s, false);
    row("a slash", u"/"_s, false);
    row("a line break", u"Sy\nnc"_s, false);
    row("a zero byte", u"Sync"_s + QChar(0) + u"x"_s, false);
    row("delete", u"Sync\x7f"_s, false);
    row("a control character of Latin-1", u"Sync"_s + QChar(0x85), false);
}

// The files exist wherever the type would lead, so that a wrong path would be noticed.
void TestTaskTypeConfig::hasNoFileForAnOddType()
{
    QFETCH(QString, type);
    QFETCH(bool, mayHaveFile);
    QCOMPARE(Core::TaskTypeConfig::mayHaveFile(type), mayHaveFile);
    const QByteArray text = "[TaskType]\nWorksInSession=false\n";
    for (const char *file :
         {"task-types/.conf", "task-types/Sync.conf", "task-types/..conf", "task-types/...conf",
          "task-types/vendor/Sync.conf", "task-types/Sync/.conf"})
        root.write(u"/usr/share/orvane/"_s + QString::fromLatin1(file), text);
    if (type.contains(QLatin1String("Sync")) && mayHaveFile)
        root.write(u"/usr/share/orvane/task-types/%1.conf"_s.arg(type), text);
    root.write(u"/usr/home/u/v.conf"_s, text);
    QCOMPARE(worksInSession(type), !(mayHaveFile && type.contains(QLatin1String("Sync"))));
}

// inotify reports that a file is opened, but not that its state is read.
void TestTaskTypeConfig::opensNothingOutsideItsDirectory()
{
    root.write(u"/usr/home/u/v.conf"_s, "[TaskType]\nWorksInSession=false\n");
    const QByteArray directory = QFile::encodeName(root.path(u"/usr/home/u"_s));
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    QVERIFY(::inotify_add_watch(watch, directory.constData(), IN_OPEN) >= 0);
    const auto sees = [watch] {
        char events[4096];
        return ::read(watch, events, sizeof events) > 0;
    };
    QVERIFY(worksInSession(u"../../../home/u/v"_s));
    QVERIFY(!sees());
    QFile file(root.path(u"/usr/home/u/v.conf"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(sees());
    ::close(watch);
}

QTEST_GUILESS_MAIN(TestTaskTypeConfig)
#include "tst_task_type_config.moc"
