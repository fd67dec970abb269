#include "system/Core/unit_files.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

#include <climits>
#include <csignal>
#include <sys/resource.h>

namespace {

const QString taskId = QStringLiteral("com.example.Notes.task_sync");

QVariantMap typicalProperties()
{
    return {{QStringLiteral("WantedBy"), QStringLiteral("multi-user.target")},
            {QStringLiteral("User"), QStringLiteral("nobody")},
            {QStringLiteral("ExecStart"), QStringLiteral("/usr/bin/firejail -- /bin/true")},
            {QStringLiteral("Environment"),
             QStringList{QStringLiteral("A=1"), QStringLiteral("B=two words")}}};
}

QByteArray typicalText()
{
    return "[Unit]\n"
           "Description=Background task for com.example.Notes.task_sync\n"
           "After=sailjail-prepare-binds.service\n"
           "\n"
           "[Service]\n"
           "Environment=A=1 B=two words\n"
           "ExecStart=/usr/bin/firejail -- /bin/true\n"
           "User=nobody\n"
           "\n"
           "[Install]\n"
           "WantedBy=multi-user.target\n";
}

// A task whose unit's name has as many bytes.
QString taskIdForUnitNameOf(int bytes)
{
    const int application = bytes - Core::unitNameOf(QStringLiteral("com..task_t")).size();
    return QLatin1String("com.") + QString(application, QLatin1Char('n'))
        + QLatin1String(".task_t");
}

void expectIncompleteWrite(const QString &path)
{
    QTest::ignoreMessage(
        QtWarningMsg,
        QStringLiteral("Could not write file: \"%1\"").arg(path).toUtf8().constData());
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
}

} // namespace

class TestUnitFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void namesTheUnitOfATask();
    void findsTheTaskOfAUnit_data();
    void findsTheTaskOfAUnit();
    void keepsItsFilesBelowTheRootPrefix();
    void keepsItsFilesInTheSystemWithoutARootPrefix();
    void makesTheTextOfATypicalUnit();
    void makesTheTextOfAUnitWithoutProperties();
    void sortsPropertiesIntoTheirSection();
    void convertsValues_data();
    void convertsValues();
    void writesTheUnitFile();
    void replacesTheUnitFile();
    void doesNotMakeTheUnitDirectory();
    void reportsAUnitFileThatCannotBeOpened();
    void writesTheUnitOfTheLongestName();
    void reportsANameThatIsTooLong();
    void keepsTheOldUnitWhenTheDiskIsFull();

private:
    void makeUnitDirectory() const;

    QScopedPointer<QTemporaryDir> m_root;
};

void TestUnitFiles::init()
{
    m_root.reset(new QTemporaryDir);
    QVERIFY(m_root->isValid());
    qputenv("ORVANE_ROOTFS", m_root->path().toUtf8());
}

void TestUnitFiles::cleanup()
{
    qunsetenv("ORVANE_ROOTFS");
    m_root.reset();
}

void TestUnitFiles::makeUnitDirectory() const
{
    QVERIFY(QDir(m_root->path()).mkpath(QStringLiteral("etc/systemd/system")));
}

void TestUnitFiles::namesTheUnitOfATask()
{
    QCOMPARE(Core::unitNameOf(taskId),
             QStringLiteral("ov_task.com.example.Notes.task_sync.service"));
    QCOMPARE(Core::taskIdOfUnit(Core::unitNameOf(taskId)), taskId);
    QVERIFY(Core::unitNameOf(taskId).startsWith(Core::taskUnitPrefix()));
}

void TestUnitFiles::findsTheTaskOfAUnit_data()
{
    QTest::addColumn<QString>("unitName");
    QTest::addColumn<QString>("expected");
    QTest::newRow("a task's unit")
        << QStringLiteral("ov_task.a.b.task_c.service") << QStringLiteral("a.b.task_c");
    QTest::newRow("the suffix twice") << QStringLiteral("ov_task.a.b.task_c.service.service")
                                      << QStringLiteral("a.b.task_c.service");
    QTest::newRow("a timer") << QStringLiteral("ov_task.a.b.task_c.timer") << QString();
    QTest::newRow("no suffix") << QStringLiteral("ov_task.a.b.task_c") << QString();
    QTest::newRow("the suffix in capitals")
        << QStringLiteral("ov_task.a.b.task_c.SERVICE") << QString();
    QTest::newRow("prefix and suffix share the dot")
        << QStringLiteral("ov_task.service") << QString();
    QTest::newRow("shorter than the prefix") << QStringLiteral("ov_") << QString();
    QTest::newRow("nothing") << QString() << QString();
    // The listings and the watched units are asked for by prefix: only its length is dropped.
    QTest::newRow("eight other characters first")
        << QStringLiteral("12345678a.b.task_c.service") << QStringLiteral("a.b.task_c");
}

void TestUnitFiles::findsTheTaskOfAUnit()
{
    QFETCH(QString, unitName);
    QFETCH(QString, expected);
    QCOMPARE(Core::taskIdOfUnit(unitName), expected);
}

void TestUnitFiles::keepsItsFilesBelowTheRootPrefix()
{
    QCOMPARE(Core::unitFilePath(taskId),
             m_root->path()
                 + QStringLiteral("/etc/systemd/system/"
                                  "ov_task.com.example.Notes.task_sync.service"));
    QCOMPARE(Core::policyFilePath(taskId),
             m_root->path()
                 + QStringLiteral("/etc/dbus-1/system.d/com.example.Notes.task_sync.conf"));
    QVERIFY(QDir(m_root->path()).isEmpty());
}

void TestUnitFiles::keepsItsFilesInTheSystemWithoutARootPrefix()
{
    qunsetenv("ORVANE_ROOTFS");
    QCOMPARE(Core::unitFilePath(QStringLiteral("a")),
             QStringLiteral("/etc/systemd/system/ov_task.a.service"));
    QCOMPARE(Core::policyFilePath(QStringLiteral("a")),
             QStringLiteral("/etc/dbus-1/system.d/a.conf"));
}

void TestUnitFiles::makesTheTextOfATypicalUnit()
{
    QCOMPARE(Core::unitFileText(taskId, typicalProperties()), typicalText());
}

void TestUnitFiles::makesTheTextOfAUnitWithoutProperties()
{
    QCOMPARE(Core::unitFileText(taskId, {}),
             QByteArray("[Unit]\n"
                        "Description=Background task for com.example.Notes.task_sync\n"
                        "After=sailjail-prepare-binds.service\n"
                        "\n"
                        "[Service]\n"
                        "\n"
                        "[Install]\n"));
}

void TestUnitFiles::sortsPropertiesIntoTheirSection()
{
    QVariantMap properties = typicalProperties();
    properties.insert(QStringLiteral("MemoryMax"), QStringLiteral("64M"));
    properties.insert(QStringLiteral("LimitCPU"), 10);
    properties.insert(QStringLiteral("OOMScoreAdjust"), -100);
    properties.insert(QStringLiteral("ZLast"), true);
    properties.insert(QStringLiteral("Also"), QStringLiteral("other.service"));
    QCOMPARE(Core::unitFileText(taskId, properties),
             QByteArray("[Unit]\n"
                        "Description=Background task for com.example.Notes.task_sync\n"
                        "After=sailjail-prepare-binds.service\n"
                        "\n"
                        "[Service]\n"
                        "Also=other.service\n"
                        "Environment=A=1 B=two words\n"
                        "ExecStart=/usr/bin/firejail -- /bin/true\n"
                        "LimitCPU=10\n"
                        "MemoryMax=64M\n"
                        "OOMScoreAdjust=-100\n"
                        "User=nobody\n"
                        "ZLast=true\n"
                        "\n"
                        "[Install]\n"
                        "WantedBy=multi-user.target\n"));
}

void TestUnitFiles::convertsValues_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("negative number") << QVariant(-7) << QByteArray("-7");
    QTest::newRow("large number") << QVariant(quint64(18446744073709551615ULL))
                                  << QByteArray("18446744073709551615");
    QTest::newRow("byte") << QVariant::fromValue(uchar(65)) << QByteArray("65");
    QTest::newRow("byte of no character") << QVariant::fromValue(uchar(10)) << QByteArray("10");
    QTest::newRow("true") << QVariant(true) << QByteArray("true");
    QTest::newRow("false") << QVariant(false) << QByteArray("false");
    QTest::newRow("quotes and backslashes stay")
        << QVariant(QStringLiteral("\"a\" 'b' \\c")) << QByteArray("\"a\" 'b' \\c");
    QTest::newRow("beyond ASCII") << QVariant(QStringLiteral("ü")) << QByteArray("\xc3\xbc");
    QTest::newRow("empty string") << QVariant(QString()) << QByteArray();
    QTest::newRow("list of strings")
        << QVariant(QStringList{QStringLiteral("a"), QString(), QStringLiteral("b")})
        << QByteArray("a  b");
    QTest::newRow("empty list") << QVariant(QStringList()) << QByteArray();
}

void TestUnitFiles::convertsValues()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, text);
    const QByteArray unit = Core::unitFileText(taskId, {{QStringLiteral("Key"), value}});
    const QByteArray line = "\n[Service]\nKey=" + text + "\n\n[Install]\n";
    QVERIFY2(unit.endsWith(line), unit.constData());
}

void TestUnitFiles::writesTheUnitFile()
{
    makeUnitDirectory();
    QVERIFY(Core::writeUnitFile(taskId, typicalProperties()));
    QCOMPARE(contentOf(Core::unitFilePath(taskId)), typicalText());
}

void TestUnitFiles::replacesTheUnitFile()
{
    makeUnitDirectory();
    QVERIFY(Core::writeUnitFile(taskId, typicalProperties()));
    QVERIFY(Core::writeUnitFile(taskId, {}));
    QCOMPARE(contentOf(Core::unitFilePath(taskId)), Core::unitFileText(taskId, {}));
}

void TestUnitFiles::doesNotMakeTheUnitDirectory()
{
    QVERIFY(!Core::writeUnitFile(taskId, typicalProperties()));
    QVERIFY(QDir(m_root->path()).isEmpty());
}

void TestUnitFiles::reportsAUnitFileThatCannotBeOpened()
{
    QVERIFY(QDir().mkpath(Core::unitFilePath(taskId)));
    QVERIFY(!Core::writeUnitFile(taskId, typicalProperties()));
}

void TestUnitFiles::writesTheUnitOfTheLongestName()
{
    makeUnitDirectory();
    const QString id = taskIdForUnitNameOf(NAME_MAX);
    QVERIFY(Core::writeUnitFile(id, typicalProperties()));
    // Again, as there is something to replace now.
    QVERIFY(Core::writeUnitFile(id, {}));
    QCOMPARE(contentOf(Core::unitFilePath(id)), Core::unitFileText(id, {}));
}

void TestUnitFiles::reportsANameThatIsTooLong()
{
    makeUnitDirectory();
    const QString id = taskIdForUnitNameOf(NAME_MAX + 1);
    expectIncompleteWrite(Core::unitFilePath(id));
    QVERIFY(!Core::writeUnitFile(id, typicalProperties()));
    constexpr auto everything = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot;
    QVERIFY(QDir(m_root->filePath(QStringLiteral("etc/systemd/system"))).isEmpty(everything));
}

void TestUnitFiles::keepsTheOldUnitWhenTheDiskIsFull()
{
    makeUnitDirectory();
    const QString path = Core::unitFilePath(taskId);
    QVERIFY(Core::writeUnitFile(taskId, typicalProperties()));

    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit limit{8, before.rlim_max};
    expectIncompleteWrite(path);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const bool written = Core::writeUnitFile(taskId, {});
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);

    QVERIFY(!written);
    QCOMPARE(contentOf(path), typicalText());
}

QTEST_GUILESS_MAIN(TestUnitFiles)
#include "tst_unit_files.moc"
