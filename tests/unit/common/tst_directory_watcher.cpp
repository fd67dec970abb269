#include "common/directory_watcher.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using Action = std::function<void(const QString &)>;
Q_DECLARE_METATYPE(Action)

class TestDirectoryWatcher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void namesWhatHasChanged_data();
    void namesWhatHasChanged();
    void tellsOfAFileWithAnotherName_data();
    void tellsOfAFileWithAnotherName();
    void tellsOfADirectoryThatGoesAndComesBack();
    void waitsForADirectoryThatIsDeepBelow();
    void endsAtADirectoryThatCannotBeWatched();
    void saysNothingOfOtherNamesBesideAMissingDirectory();
    void holdsOneWatchForADirectoryOfManyFiles();
    void dropsWhatIsNotNamedAgain();
    void saysThatAnythingMayHaveChangedWhenEventsAreLost();
    void pollsOnlyWhileThereAreTooFewWatches();

private:
    [[nodiscard]] QString path(const char *name = "") const
    {
        return root->path() + QLatin1Char('/') + QString::fromLatin1(name);
    }
    static void write(const QString &file, const QByteArray &text = "x")
    {
        QFile written(file);
        QVERIFY(written.open(QIODevice::WriteOnly));
        written.write(text);
    }
    void look(const std::function<void()> &naming)
    {
        watcher->beginScan();
        naming();
        watcher->endScan();
        changes.clear();
    }
    /// Whether a change of the path is reported, of this kind or of an unknown kind.
    [[nodiscard]] bool isTold(const QString &changed, DirectoryWatcher::Change change) const
    {
        return changes.contains({changed, change});
    }

    std::unique_ptr<QTemporaryDir> root;
    std::unique_ptr<DirectoryWatcher> watcher;
    QVector<QPair<QString, DirectoryWatcher::Change>> changes;
};

void TestDirectoryWatcher::init()
{
    root = std::make_unique<QTemporaryDir>();
    watcher = std::make_unique<DirectoryWatcher>();
    connect(watcher.get(), &DirectoryWatcher::changed, this,
            [this](const QString &changed, DirectoryWatcher::Change change) {
                changes.append({changed, change});
            });
    QVERIFY(QDir().mkpath(path("watched")));
    write(path("watched/file"));
    changes.clear();
}

void TestDirectoryWatcher::namesWhatHasChanged_data()
{
    QTest::addColumn<Action>("action");
    QTest::addColumn<QString>("name");
    QTest::addColumn<DirectoryWatcher::Change>("change");
    const auto row = [](const char *what, DirectoryWatcher::Change change, const Action &action,
                        const char *name = "file") {
        QTest::newRow(what) << action << QString::fromLatin1(name) << change;
    };
    const auto anything = DirectoryWatcher::Anything;
    row(
        "created", anything, [](const QString &d) { write(d + u"new"_s); }, "new");
    row("written and closed", DirectoryWatcher::Content,
        [](const QString &d) { write(d + u"file"_s, "y"); });
    row("written and left open", DirectoryWatcher::Content, [](const QString &d) {
        static QFile open;
        open.close();
        open.setFileName(d + u"file"_s);
        QVERIFY(open.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered));
        QCOMPARE(open.write("y"), 1);
    });
    row("cut off without being opened", DirectoryWatcher::Content,
        [](const QString &d) { QCOMPARE(::truncate(qPrintable(d + u"file"_s), 0), 0); });
    row("replaced", anything, [](const QString &d) {
        write(d + u"../new"_s);
        QCOMPARE(std::rename(qPrintable(d + u"../new"_s), qPrintable(d + u"file"_s)), 0);
    });
    row("moved away", anything, [](const QString &d) {
        QCOMPARE(std::rename(qPrintable(d + u"file"_s), qPrintable(d + u"../gone"_s)), 0);
    });
    row("deleted", anything, [](const QString &d) { QVERIFY(QFile::remove(d + u"file"_s)); });
    row("other rights", anything,
        [](const QString &d) { QCOMPARE(::chmod(qPrintable(d + u"file"_s), 0600), 0); });
}

void TestDirectoryWatcher::namesWhatHasChanged()
{
    QFETCH(Action, action);
    QFETCH(QString, name);
    QFETCH(DirectoryWatcher::Change, change);
    look([this] { watcher->watchDirectory(path("watched")); });
    action(path("watched/"));
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("watched/") + name, change), 30000);
}

void TestDirectoryWatcher::tellsOfAFileWithAnotherName_data()
{
    QTest::addColumn<bool>("isLink");
    QTest::newRow("the target of a link") << true;
    QTest::newRow("a second name") << false;
}

void TestDirectoryWatcher::tellsOfAFileWithAnotherName()
{
    QFETCH(bool, isLink);
    write(path("target"));
    const QByteArray target = QFile::encodeName(path("target"));
    const QByteArray name = QFile::encodeName(path("watched/other"));
    QCOMPARE(isLink ? ::symlink(target.constData(), name.constData())
                    : ::link(target.constData(), name.constData()),
             0);
    const auto naming = [this] {
        watcher->watchDirectory(path("watched"));
        watcher->watchFile(path("watched/other"));
    };
    look(naming);
    write(path("target"), "y");
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("watched/other"), DirectoryWatcher::Content), 30000);
    look(naming);
    write(path("new"));
    QCOMPARE(std::rename(qPrintable(path("new")), target.constData()), 0);
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("watched/other"), DirectoryWatcher::Anything), 30000);
}

void TestDirectoryWatcher::tellsOfADirectoryThatGoesAndComesBack()
{
    const auto naming = [this] { watcher->watchDirectory(path("watched")); };
    look(naming);
    QVERIFY(QDir(path("watched")).removeRecursively());
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("watched"), DirectoryWatcher::Anything), 30000);
    look(naming);
    QVERIFY(QDir().mkdir(path("watched")));
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("watched"), DirectoryWatcher::Anything), 30000);
    look(naming);
    write(path("watched/file"));
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("watched/file"), DirectoryWatcher::Anything), 30000);
    look(naming);
    QVERIFY(QDir().rename(path("watched"), path("aside")));
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("watched"), DirectoryWatcher::Anything), 30000);
}

void TestDirectoryWatcher::waitsForADirectoryThatIsDeepBelow()
{
    const auto naming = [this] { watcher->watchDirectory(path("a/b/c")); };
    look(naming);
    for (const char *next : {"a", "a/b", "a/b/c"}) {
        QVERIFY(QDir().mkdir(path(next)));
        QTRY_VERIFY_WITH_TIMEOUT(isTold(path("a/b/c"), DirectoryWatcher::Anything), 30000);
        look(naming);
    }
    write(path("a/b/c/file"));
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("a/b/c/file"), DirectoryWatcher::Anything), 30000);
}

void TestDirectoryWatcher::endsAtADirectoryThatCannotBeWatched()
{
    QVERIFY(QDir().mkdir(path("closed")));
    QCOMPARE(::chmod(qPrintable(path("closed")), 0111), 0);
    const bool isRoot = ::geteuid() == 0;
    // As another user, because root may read everything.
    constexpr uid_t somebody = 65534;
    if (isRoot) {
        QCOMPARE(::chown(qPrintable(root->path()), somebody, somebody), 0);
        QCOMPARE(::seteuid(somebody), 0);
    }
    look([this] { watcher->watchDirectory(path("closed/below/applications")); });
    if (isRoot)
        QCOMPARE(::seteuid(0), 0);
    // The nearest directory that can be watched.
    QCOMPARE(watcher->count(), 1);
    QCOMPARE(::chmod(qPrintable(path("closed")), 0700), 0);
    QVERIFY(QDir().rename(path("closed"), path("aside")));
    QVERIFY(QDir().mkdir(path("closed")));
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("closed/below/applications"), DirectoryWatcher::Anything),
                             30000);
}

void TestDirectoryWatcher::saysNothingOfOtherNamesBesideAMissingDirectory()
{
    look([this] { watcher->watchDirectory(path("missing")); });
    write(path("other"));
    QVERIFY(QDir().mkdir(path("missing")));
    QTRY_VERIFY_WITH_TIMEOUT(!changes.isEmpty(), 30000);
    for (const auto &change : qAsConst(changes))
        QCOMPARE(change.first, path("missing"));
}

void TestDirectoryWatcher::holdsOneWatchForADirectoryOfManyFiles()
{
    for (int i = 0; i < 100; ++i)
        write(path("watched/") + QString::number(i));
    look([this] { watcher->watchDirectory(path("watched")); });
    QCOMPARE(watcher->count(), 1);
    look([this] { watcher->watchDirectory(path("watched")); });
    QCOMPARE(watcher->count(), 1);
}

void TestDirectoryWatcher::dropsWhatIsNotNamedAgain()
{
    look([this] {
        watcher->watchDirectory(path("watched"));
        watcher->watchFile(path("watched/file"));
    });
    QCOMPARE(watcher->count(), 2);
    look([this] { watcher->watchFile(path("watched/file")); });
    QCOMPARE(watcher->count(), 1);
    write(path("watched/new"));
    write(path("watched/file"), "y");
    QTRY_VERIFY_WITH_TIMEOUT(isTold(path("watched/file"), DirectoryWatcher::Content), 30000);
    QVERIFY(!isTold(path("watched/new"), DirectoryWatcher::Anything));
}

void TestDirectoryWatcher::saysThatAnythingMayHaveChangedWhenEventsAreLost()
{
    QFile limit(u"/proc/sys/fs/inotify/max_queued_events"_s);
    QVERIFY(limit.open(QIODevice::ReadOnly));
    const int most = limit.readAll().trimmed().toInt();
    write(path("watched/second"));
    look([this] { watcher->watchDirectory(path("watched")); });
    const QByteArray files[] = {QFile::encodeName(path("watched/file")),
                                QFile::encodeName(path("watched/second"))};
    // Two files alternately, because the kernel merges equal successive events.
    for (int i = 0; i < most + 10; ++i)
        QCOMPARE(::chmod(files[i % 2].constData(), 0600), 0);
    QTRY_VERIFY_WITH_TIMEOUT(isTold(QString(), DirectoryWatcher::Anything), 30000);
}

namespace {

void look(DirectoryWatcher &watcher, const QStringList &directories)
{
    watcher.beginScan();
    for (const QString &directory : directories)
        watcher.watchDirectory(directory);
    watcher.endScan();
}

// Runs in a child process, because it uses up all inotify watches of its process. Returns the
// number of the step that failed; 0 for none.
int pollWithOneWatch(const QString &one, const QString &other)
{
    const QByteArray user = "0 " + QByteArray::number(::geteuid()) + " 1\n";
    if (::unshare(CLONE_NEWUSER) != 0)
        return 1;
    QFile map(u"/proc/self/uid_map"_s);
    if (!map.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || map.write(user) != user.size())
        return 2;
    QFile limit(u"/proc/sys/user/max_inotify_watches"_s);
    if (!limit.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || limit.write("1") != 1)
        return 3;
    DirectoryWatcher watcher;
    look(watcher, {one, other});
    if (!watcher.isPolling())
        return 4;
    look(watcher, {one});
    return watcher.isPolling() ? 5 : 0;
}

} // namespace

void TestDirectoryWatcher::pollsOnlyWhileThereAreTooFewWatches()
{
    QVERIFY(QDir().mkdir(path("another")));
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(pollWithOneWatch(path("watched"), path("another")));
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 0);
}

QTEST_GUILESS_MAIN(TestDirectoryWatcher)
#include "tst_directory_watcher.moc"
