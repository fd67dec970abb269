#include "files/path_below.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

class TestPathBelow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void leavesAPathOfThisSystemUnchanged();
    void resolvesLinksBelowTheRoot_data();
    void resolvesLinksBelowTheRoot();
    void givesUpOnALoopOfLinks();

private:
    void link(const char *target, const char *name) const
    {
        QVERIFY(QFile::link(QString::fromUtf8(target), m_root->filePath(QString::fromUtf8(name))));
    }

    QScopedPointer<QTemporaryDir> m_root;
};

void TestPathBelow::init()
{
    m_root.reset(new QTemporaryDir);
    QVERIFY(QDir(m_root->path()).mkpath(u"usr/bin"_s));
    QVERIFY(QDir(m_root->path()).mkpath(u"etc/alternatives"_s));
    link("usr/bin", "bin");
    link("/etc/alternatives/tool", "usr/bin/tool");
    link("../../usr/bin/real", "etc/alternatives/tool");
    link("../../../../../../../../etc/shadow", "usr/bin/out");
    link("loop", "loop");
}

void TestPathBelow::leavesAPathOfThisSystemUnchanged()
{
    QCOMPARE(pathBelow(QString(), u"/bin//x/../true"_s), u"/bin//x/../true"_s);
}

void TestPathBelow::resolvesLinksBelowTheRoot_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *what, const char *path, const char *expected) {
        QTest::newRow(what) << QString::fromUtf8(path) << QString::fromUtf8(expected);
    };
    row("a file", "/usr/bin/real", "/usr/bin/real");
    row("nothing there", "/opt/none", "/opt/none");
    row("a relative link", "/bin/real", "/usr/bin/real");
    row("an absolute link to a relative one", "/usr/bin/tool", "/usr/bin/real");
    row("three links", "/bin/tool", "/usr/bin/real");
    row("a link that leads above the root", "/usr/bin/out", "/etc/shadow");
    row("a path that leads above the root", "/../../etc/shadow", "/etc/shadow");
    row("slashes and dots", "//usr/./bin//real", "/usr/bin/real");
}

void TestPathBelow::resolvesLinksBelowTheRoot()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(pathBelow(m_root->path(), path), m_root->path() + expected);
}

void TestPathBelow::givesUpOnALoopOfLinks()
{
    QCOMPARE(pathBelow(m_root->path(), u"/loop/x"_s), QString());
}

QTEST_APPLESS_MAIN(TestPathBelow)
#include "tst_path_below.moc"
