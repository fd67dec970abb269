#include "common/places.h"
#include "plan/policy_text.h"
#include "plan/task_names.h"
#include "support/literals.h"
#include "system/Core/task_manager_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

using Core::ApplicationId;
using Core::ApplicationTaskId;
using Core::TaskManagerPrivate;

namespace {

const QString busName = u"com.example.Notes.Sync"_s;
const QString user = u"nobody"_s;

ApplicationTaskId task() { return {ApplicationId(u"com.example"_s, u"Notes"_s), u"sync"_s}; }

QString policyPath() { return Core::policyFilePath(Places::ofEnvironment(), task().toString()); }

QByteArray typicalText()
{
    return "<!DOCTYPE busconfig PUBLIC \n"
           "  \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
           "  \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "\n"
           "  <busconfig>\n"
           "  <policy user=\"nobody\">\n"
           "    <allow own=\"com.example.Notes.Sync\"/>\n"
           "  </policy>\n"
           "\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"com.example.Notes.Sync\"/>\n"
           "  </policy>\n"
           "</busconfig>\n";
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
}

// All attributes of all elements in order, as an XML parser reads them.
QStringList attributesOf(const QByteArray &text)
{
    QStringList found;
    QXmlStreamReader reader(text);
    while (!reader.atEnd()) {
        reader.readNext();
        for (const QXmlStreamAttribute &attribute : reader.attributes())
            found << u"%1=%2"_s.arg(attribute.name(), attribute.value());
    }
    if (reader.hasError())
        found << reader.errorString();
    return found;
}

} // namespace

class TestBusPolicy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void makesTheTextByteForByte();
    void putsTheSameValuesBackOutOfXml_data();
    void putsTheSameValuesBackOutOfXml();
    void addsNoRuleThatAValueSpells();
    void writesThePolicyAndItsDirectories();
    void writesAPolicyThatTheBusCanRead();
    void replacesAnOldPolicy();
    void warnsWhenTheDirectoryCannotBeMade();
    void warnsWhenTheFileCannotBeOpened();
    void failsOnAShortWrite();

private:
    void expectWarning() const;

    QScopedPointer<QTemporaryDir> m_root;
};

void TestBusPolicy::init()
{
    m_root.reset(new QTemporaryDir);
    QVERIFY(m_root->isValid());
    qputenv("ORVANE_ROOTFS", m_root->path().toUtf8());
}

void TestBusPolicy::cleanup()
{
    qunsetenv("ORVANE_ROOTFS");
    m_root.reset();
}

void TestBusPolicy::expectWarning() const
{
    const QString text = u"Could not create file: \"%1/etc/dbus-1/system.d/"
                         "com.example.Notes.task_sync.conf\""_s.arg(m_root->path());
    QTest::ignoreMessage(QtWarningMsg, text.toUtf8().constData());
}

void TestBusPolicy::makesTheTextByteForByte()
{
    QCOMPARE(Core::policyText(busName, user), typicalText());
}

void TestBusPolicy::putsTheSameValuesBackOutOfXml_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("owner");
    QTest::newRow("plain") << busName << user;
    QTest::newRow("signs of XML") << u"a<b>&\"c"_s << u"<&amp;\">"_s;
    QTest::newRow("beyond ASCII") << u"ü.ö"_s << u"jürgen"_s;
    QTest::newRow("a placeholder in the bus name") << u"com.%2.%1"_s << u"jane"_s;
    QTest::newRow("a placeholder in the user") << busName << u"%1%2"_s;
}

void TestBusPolicy::putsTheSameValuesBackOutOfXml()
{
    QFETCH(QString, name);
    QFETCH(QString, owner);
    QCOMPARE(attributesOf(Core::policyText(name, owner)),
             (QStringList{u"user="_s + owner, u"own="_s + name, u"context=default"_s,
                          u"send_destination="_s + name}));
}

void TestBusPolicy::addsNoRuleThatAValueSpells()
{
    const QString rule = u"x\"/><allow own=\"org.freedesktop.systemd1"_s;
    const QByteArray text = Core::policyText(rule, user);
    QCOMPARE(text.count("<allow"), 2);
    QCOMPARE(text.count("own=\"x&quot;/&gt;&lt;allow own=&quot;org.freedesktop.systemd1\"/>"), 1);
}

void TestBusPolicy::writesThePolicyAndItsDirectories()
{
    QVERIFY(TaskManagerPrivate::writeDBusPolicy(task(), busName, user));
    const QString path =
        m_root->filePath(u"etc/dbus-1/system.d/com.example.Notes.task_sync.conf"_s);
    QCOMPARE(contentOf(path), typicalText());
}

void TestBusPolicy::writesAPolicyThatTheBusCanRead()
{
    const mode_t before = ::umask(0077);
    const bool written = TaskManagerPrivate::writeDBusPolicy(task(), busName, user);
    ::umask(before);
    QVERIFY(written);
    const QFileDevice::Permissions permissions = QFile::permissions(policyPath());
    QVERIFY(permissions.testFlag(QFileDevice::ReadOther));
    QVERIFY(!permissions.testFlag(QFileDevice::WriteOther));
}

void TestBusPolicy::replacesAnOldPolicy()
{
    QVERIFY(TaskManagerPrivate::writeDBusPolicy(task(), u"a.much.longer.bus.name"_s,
                                                u"another-user"_s));
    QVERIFY(TaskManagerPrivate::writeDBusPolicy(task(), busName, user));
    QCOMPARE(contentOf(policyPath()), typicalText());
}

void TestBusPolicy::warnsWhenTheDirectoryCannotBeMade()
{
    QFile blocker(m_root->filePath(u"etc"_s));
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    expectWarning();
    QVERIFY(!TaskManagerPrivate::writeDBusPolicy(task(), busName, user));
}

void TestBusPolicy::warnsWhenTheFileCannotBeOpened()
{
    QVERIFY(QDir().mkpath(policyPath()));
    expectWarning();
    QVERIFY(!TaskManagerPrivate::writeDBusPolicy(task(), busName, user));
}

void TestBusPolicy::failsOnAShortWrite()
{
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit limit{8, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const bool written = TaskManagerPrivate::writeDBusPolicy(task(), busName, user);
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);

    QVERIFY(!written);
    QVERIFY(!QFile::exists(policyPath()));
}

QTEST_GUILESS_MAIN(TestBusPolicy)
#include "tst_bus_policy.moc"
