// The state of autostart settings after any single system call has failed.

#include "common/Core/findings.h"
#include "common/places.h"
#include "support/every_fault.h"
#include "support/literals.h"
#include "system/autostart/manager.h"
#include "system/autostart/removal.h"
#include "unit/common/Core/log_lines.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>

#include <memory>

using Autostart::Manager;

namespace {

const QString app = u"a.b"_s;

bool write(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly)
        && file.write(text) == text.size();
}

/// Path to content of every file below a folder; for a link, its target.
using Contents = QMap<QString, QByteArray>;

Contents contentsOf(const QString &folder)
{
    Contents contents;
    QDirIterator entries(folder,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        QFile file(entries.next());
        const QFileInfo info = entries.fileInfo();
        QByteArray text = "a directory";
        if (info.isSymLink())
            text = "a link to " + info.symLinkTarget().toUtf8();
        else if (file.open(QIODevice::ReadOnly))
            text = file.readAll();
        contents.insert(info.filePath().mid(folder.size() + 1), text);
    }
    return contents;
}

/// A store in a temporary folder, with a manager that has no user manager to ask.
class Fixture
{
public:
    Fixture()
        : m_manager(Places::below(m_root.path()), Core::LoggedFindings::instance())
    {
    }

    [[nodiscard]] bool put(const char *file, const QByteArray &text) const
    {
        return write(path(file), text);
    }
    [[nodiscard]] QString path(const char *file) const
    {
        return m_root.path() + u"/var/lib/am/apps/"_s + QString::fromLatin1(file);
    }
    [[nodiscard]] QString outside() const { return m_root.filePath(u"outside"_s); }
    [[nodiscard]] Contents contents() const { return contentsOf(m_root.path()); }
    Manager &manager() { return m_manager; }

private:
    const QTemporaryDir m_root;
    Manager m_manager;
};

const QByteArray ofOne = "[a.b%7C5]\nautostart=false\n";
const QByteArray ofAll = "[a.b]\nautostart=false\n";
const QByteArray newOfOne = "[a.b%7C5]\nautostart=true\n";
const QByteArray newOfAll = "[a.b]\nautostart=true\n";

bool putSettings(const Fixture &fixture)
{
    return fixture.put("a.b/5.conf", ofOne)
        && fixture.put("a.b/6.conf", "[a.b%7C6]\nautostart=true\n")
        && fixture.put("a.b/all-users.conf", ofAll);
}

} // namespace

class TestStoreFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void keepsTheOldSettingOfAUserOrHasTheNew_data() { addFileErrors(); }
    void keepsTheOldSettingOfAUserOrHasTheNew();
    void leavesNoTraceOfAFirstSettingThatFailed_data() { addFileErrors(); }
    void leavesNoTraceOfAFirstSettingThatFailed();
    void keepsALinkAndItsTargetOrHasTheNewSetting_data() { addFileErrors(); }
    void keepsALinkAndItsTargetOrHasTheNewSetting();
    void losesNoUsersSettingWithoutTheNewOneForAll_data() { addFileErrors(); }
    void losesNoUsersSettingWithoutTheNewOneForAll();
    void removesUsersSettingsOnceTheNewOneForAllIsOnTheDisk();
    void hasNewDirectoriesOnTheDiskBeforeItAnswers();
    void saysThatAnApplicationIsForgottenOnlyWhenItIs_data() { addFileErrors(); }
    void saysThatAnApplicationIsForgottenOnlyWhenItIs();
};

void TestStoreFaults::initTestCase()
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
}

namespace {

struct Outcome
{
    bool isWritten = false;
    QString failed;
};

Outcome setWithAFault(Fixture &fixture, int uid, int which, int error)
{
    const LogLines log;
    const FileFaults faults(which, error);
    const bool isWritten = fixture.manager().setEnabled(uid, app, true);
    return {isWritten, faults.failed()};
}

// Without a temporary file that could not be removed; the next start of the daemon removes it.
Contents contentsOf(const Fixture &fixture, const Outcome &outcome)
{
    Contents contents = fixture.contents();
    for (const QString &path : contents.keys()) {
        if (outcome.failed.startsWith(QLatin1String("unlink")) && outcome.failed.endsWith(path)
            && path.contains(QLatin1String("/.orvane.")))
            contents.remove(path);
    }
    return contents;
}

// Changes a setting of a user while one call fails. Checks that everything is as before, or that
// only the setting is new. Returns whether the call was reached.
bool keepsOrReplaces(const std::function<bool(const Fixture &)> &put, int which, int error)
{
    const LogLines log;
    Fixture fixture;
    const bool isReady = put(fixture);
    const Contents before = fixture.contents();
    Contents after = before;
    after[u"var/lib/am/apps/a.b/5.conf"_s] = newOfOne;
    const Outcome outcome = setWithAFault(fixture, 5, which, error);
    const Contents now = contentsOf(fixture, outcome);
    const auto check = [&] {
        QVERIFY(isReady);
        QVERIFY2(now == (outcome.isWritten ? after : before), qPrintable(outcome.failed));
    };
    check();
    return !outcome.failed.isEmpty();
}

} // namespace

void TestStoreFaults::keepsTheOldSettingOfAUserOrHasTheNew()
{
    QFETCH(int, error);
    withEveryCallFailing([&](int which) { return keepsOrReplaces(putSettings, which, error); });
}

void TestStoreFaults::leavesNoTraceOfAFirstSettingThatFailed()
{
    QFETCH(int, error);
    withEveryCallFailing([&](int which) {
        const LogLines log;
        Fixture fixture;
        const Outcome outcome = setWithAFault(fixture, 5, which, error);
        const Contents now = contentsOf(fixture, outcome);
        const QByteArray setting = now.value(u"var/lib/am/apps/a.b/5.conf"_s);
        const auto check = [&] {
            QVERIFY2(outcome.isWritten ? setting == newOfOne : now.isEmpty(),
                     qPrintable(outcome.failed));
        };
        check();
        return !outcome.failed.isEmpty();
    });
}

void TestStoreFaults::keepsALinkAndItsTargetOrHasTheNewSetting()
{
    QFETCH(int, error);
    const auto putLink = [](const Fixture &fixture) {
        return write(fixture.outside(), "kept") && QDir().mkpath(fixture.path("a.b"))
            && QFile::link(fixture.outside(), fixture.path("a.b/5.conf"));
    };
    withEveryCallFailing([&](int which) { return keepsOrReplaces(putLink, which, error); });
}

void TestStoreFaults::losesNoUsersSettingWithoutTheNewOneForAll()
{
    QFETCH(int, error);
    withEveryCallFailing([&](int which) {
        const LogLines log;
        Fixture fixture;
        const bool isReady = putSettings(fixture);
        const Contents before = fixture.contents();
        const Outcome outcome = setWithAFault(fixture, Manager::allUsers, which, error);
        const Contents now = fixture.contents();
        const QByteArray setting = now.value(u"var/lib/am/apps/a.b/all-users.conf"_s);
        const auto check = [&] {
            QVERIFY(isReady);
            QVERIFY2(outcome.isWritten ? setting == newOfAll : now == before,
                     qPrintable(outcome.failed));
        };
        check();
        return !outcome.failed.isEmpty();
    });
}

void TestStoreFaults::removesUsersSettingsOnceTheNewOneForAllIsOnTheDisk()
{
    Fixture fixture;
    QVERIFY(putSettings(fixture));
    const FileFaults watched;
    QVERIFY(fixture.manager().setEnabled(Manager::allUsers, app, true));
    const QString folder = fixture.path("a.b");
    // Without temporary files.
    const QRegularExpression ofSettings(u"^(?!.*/\\.orvane\\.)"_s);
    QCOMPARE(watched.changes().filter(ofSettings),
             QStringList({u"rename "_s + folder + u"/all-users.conf"_s, u"fsync "_s + folder,
                          u"unlink "_s + folder + u"/5.conf"_s,
                          u"unlink "_s + folder + u"/6.conf"_s, u"fsync "_s + folder}));
}

void TestStoreFaults::hasNewDirectoriesOnTheDiskBeforeItAnswers()
{
    Fixture fixture;
    const FileFaults watched;
    QVERIFY(fixture.manager().setEnabled(5, app, true));
    const QStringList changes = watched.changes();
    const QStringList made = changes.filter(QRegularExpression(u"^mkdir "_s));
    QCOMPARE(made.size(), 5);
    for (const QString &change : made) {
        const QString parent = QFileInfo(change.mid(6)).path();
        QVERIFY2(changes.indexOf(u"fsync "_s + parent) > changes.indexOf(change),
                 qPrintable(change));
    }
    QCOMPARE(changes.constLast(), u"fsync "_s + fixture.path("a.b"));
}

void TestStoreFaults::saysThatAnApplicationIsForgottenOnlyWhenItIs()
{
    QFETCH(int, error);
    withEveryCallFailing([&](int which) {
        const LogLines log;
        Fixture fixture;
        const bool isReady = putSettings(fixture) && write(fixture.outside() + u"/x"_s, "kept")
            && QFile::link(fixture.outside(), fixture.path("link"));
        QString failed;
        bool isApplicationRemoved = false;
        bool isLinkRemoved = false;
        {
            const FileFaults faults(which, error);
            isApplicationRemoved = fixture.manager().cleanupUninstalledApplication(app);
            isLinkRemoved = fixture.manager().cleanupUninstalledApplication(u"link"_s);
            failed = faults.failed();
        }
        const Contents now = fixture.contents();
        const auto check = [&] {
            QVERIFY(isReady);
            const bool isGone = !now.contains(u"var/lib/am/apps/a.b"_s);
            const bool isLinkGone = !now.contains(u"var/lib/am/apps/link"_s);
            QVERIFY2(!isApplicationRemoved || isGone, qPrintable(failed));
            QVERIFY2(!isLinkRemoved || isLinkGone, qPrintable(failed));
            QVERIFY2(now.contains(u"outside/x"_s), qPrintable(failed));
        };
        check();
        return !failed.isEmpty();
    });
}

QTEST_GUILESS_MAIN(TestStoreFaults)
#include "tst_store_faults.moc"
