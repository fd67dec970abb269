#include "support/literals.h"
#include "support/temp_root.h"

#include <QTest>

#include <mdesktopentry.h>

#include <sys/stat.h>

namespace {

/// Sets the process's language while it exists.
class LanguageGuard
{
public:
    explicit LanguageGuard(const char *language)
        : m_wasSet(qEnvironmentVariableIsSet("LANGUAGE"))
        , m_before(qgetenv("LANGUAGE"))
    {
        qputenv("LANGUAGE", language);
    }
    ~LanguageGuard()
    {
        if (m_wasSet)
            qputenv("LANGUAGE", m_before);
        else
            qunsetenv("LANGUAGE");
    }
    Q_DISABLE_COPY(LanguageGuard)

private:
    bool m_wasSet;
    QByteArray m_before;
};

} // namespace

class TestDesktopEntry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTheMainGroup();
    void readsALink();
    void givesGroupsInFileOrder();
    void replacesEscapes();
    void keepsAValueWithAnUnknownEscape();
    void keepsANameWithAnUnknownEscape();
    void keepsAListWithAnUnknownEscape();
    void splitsLists();
    void prefersTheLanguageOfTheProcess();
    void isValidInEveryLanguageOrNone_data();
    void isValidInEveryLanguageOrNone();
    void isEmptyWhenItIsHidden_data();
    void isEmptyWhenItIsHidden();
    void refusesAndLogsWhatIsTooLarge();
    void survivesWhatIsNoEntry();

private:
    QString write(const QByteArray &text)
    {
        root.write(u"/x.desktop"_s, text);
        return root.path(u"/x.desktop"_s);
    }

    TempRoot root;
};

void TestDesktopEntry::readsTheMainGroup()
{
    const MDesktopEntry entry(
        write("# a comment\n\n[Desktop Entry]\nType = Application\nName=App\nIcon=icon\n"
              "Exec=/bin/app %U\nX-Maemo-Service=a.b\nX-Halcyn-Support-Mime-Parents=true\n"
              "[Other]\nType=Link\n[Sailjail]\nOrganizationName=third\nApplicationName=app\n"));
    QVERIFY(entry.isValid());
    QCOMPARE(entry.type(), u"Application"_s);
    QCOMPARE(entry.name(), u"App"_s);
    QCOMPARE(entry.icon(), u"icon"_s);
    QCOMPARE(entry.exec(), u"/bin/app %U"_s);
    QCOMPARE(entry.xMaemoService(), u"a.b"_s);
    QCOMPARE(entry.value(u"Type"_s), u"Application"_s);
    QCOMPARE(entry.value(u"Other"_s, u"Type"_s), u"Link"_s);
    QCOMPARE(entry.value(u"Other"_s, u"None"_s), QString());
    QCOMPARE(entry.value(u"None"_s, u"Type"_s), QString());
    QCOMPARE(entry.appOrgname(), u"third"_s);
    QCOMPARE(entry.appName(), u"app"_s);
    QVERIFY(entry.supportMimeParents());
}

void TestDesktopEntry::readsALink()
{
    const MDesktopEntry entry(
        write("[Desktop Entry]\nType=Link\nName=Page\nURL=https://example.com/?a=b;c d\n"));
    QVERIFY(entry.isValid());
    QCOMPARE(entry.type(), u"Link"_s);
    QCOMPARE(entry.url(), u"https://example.com/?a=b;c d"_s);
    QVERIFY(!entry.supportMimeParents());
}

void TestDesktopEntry::givesGroupsInFileOrder()
{
    const MDesktopEntry entry(write("[Desktop Entry]\n[Z]\n[A]\n[X-Task m]\n"));
    QCOMPARE(entry.groups(), QStringList({u"Desktop Entry"_s, u"Z"_s, u"A"_s, u"X-Task m"_s}));
}

void TestDesktopEntry::replacesEscapes()
{
    const MDesktopEntry entry(write("[Desktop Entry]\nExec=a\\sb\\nc\\td\\\\e\n"));
    QCOMPARE(entry.exec(), u"a b\nc\td\\e"_s);
}

void TestDesktopEntry::keepsAValueWithAnUnknownEscape()
{
    const MDesktopEntry entry(write("[Desktop Entry]\nExec=a \\\"b\n"));
    QCOMPARE(entry.exec(), u"a \\\"b"_s);
}

void TestDesktopEntry::keepsANameWithAnUnknownEscape()
{
    const MDesktopEntry entry(write("[Desktop Entry]\nType=Application\nName=A \\q b\n"));
    QVERIFY(entry.isValid());
    QCOMPARE(entry.name(), u"A \\q b"_s);
    QCOMPARE(MDesktopEntry(write("[Desktop Entry]\nType=Application\n")).name(), QString());
}

void TestDesktopEntry::keepsAListWithAnUnknownEscape()
{
    const MDesktopEntry entry(
        write("[Desktop Entry]\nMimeType=text/a;text/\\q;\n[G]\nList=a;b \\q;c\\;d;;e\nOne=\\q\n"));
    QCOMPARE(entry.mimeType(), QStringList({u"text/a"_s, u"text/\\q"_s}));
    QCOMPARE(entry.stringListValue(u"G"_s, u"List"_s),
             QStringList({u"a"_s, u"b \\q"_s, u"c\\;d"_s, QString(), u"e"_s}));
    QCOMPARE(entry.stringListValue(u"G"_s, u"One"_s), QStringList{u"\\q"_s});
}

void TestDesktopEntry::splitsLists()
{
    const MDesktopEntry entry(
        write("[Desktop Entry]\nMimeType=text/plain;text/html;\n[G]\nList=a;b\\;c;d\n"));
    QCOMPARE(entry.mimeType(), QStringList({u"text/plain"_s, u"text/html"_s}));
    QCOMPARE(entry.stringListValue(u"G"_s, u"List"_s), QStringList({u"a"_s, u"b;c"_s, u"d"_s}));
    QCOMPARE(entry.stringListValue(u"G"_s, u"None"_s), QStringList());
}

void TestDesktopEntry::prefersTheLanguageOfTheProcess()
{
    const LanguageGuard german("de");
    const MDesktopEntry entry(
        write("[Desktop Entry]\nType=Application\nName=Notes\nName[de]=Notizen\n"
              "Icon=notes\nIcon[de]=notizen\n"));
    QVERIFY(entry.isValid());
    QCOMPARE(entry.icon(), u"notizen"_s);
    QCOMPARE(entry.value(u"Icon"_s), u"notes"_s);
    QCOMPARE(entry.name(), u"Notizen"_s);
    QCOMPARE(entry.value(u"Name"_s), u"Notes"_s);
}

void TestDesktopEntry::isValidInEveryLanguageOrNone_data()
{
    QTest::addColumn<QByteArray>("names");
    QTest::addColumn<bool>("valid");
    QTest::newRow("a name and no translation") << QByteArray("Name=Notes\n") << true;
    QTest::newRow("an empty translation") << QByteArray("Name=Notes\nName[de]=\n") << true;
    QTest::newRow("nothing but a translation") << QByteArray("Name[de]=Notizen\n") << false;
    QTest::newRow("an empty name") << QByteArray("Name=\nName[de]=Notizen\n") << false;
}

void TestDesktopEntry::isValidInEveryLanguageOrNone()
{
    QFETCH(QByteArray, names);
    QFETCH(bool, valid);
    const QString path = write("[Desktop Entry]\nType=Application\n" + names);
    for (const char *language : {"de", "en"}) {
        const LanguageGuard guard(language);
        QCOMPARE(MDesktopEntry(path).isValid(), valid);
    }
}

void TestDesktopEntry::isEmptyWhenItIsHidden_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("hidden");
    QTest::newRow("true") << QByteArray("Hidden=true\n") << true;
    QTest::newRow("one") << QByteArray("Hidden=1\n") << true;
    QTest::newRow("with blanks") << QByteArray("Hidden = true \n") << true;
    QTest::newRow("false") << QByteArray("Hidden=false\n") << false;
    QTest::newRow("no boolean") << QByteArray("Hidden=yes\n") << false;
    QTest::newRow("in another group") << QByteArray("[G]\nHidden=true\n") << false;
    QTest::newRow("not shown in menus") << QByteArray("NoDisplay=true\n") << false;
}

void TestDesktopEntry::isEmptyWhenItIsHidden()
{
    QFETCH(QByteArray, line);
    QFETCH(bool, hidden);
    const MDesktopEntry entry(
        write("[Desktop Entry]\nType=Link\nName=Page\nURL=https://example.com\nMimeType=a/b;\n"
              + line + "[X-Application]\nOrganizationName=a\nApplicationName=b\n[X-Task t]\n"));
    QCOMPARE(entry.isValid(), !hidden);
    QCOMPARE(entry.type().isEmpty(), hidden);
    QCOMPARE(entry.name().isEmpty(), hidden);
    QCOMPARE(entry.url().isEmpty(), hidden);
    QCOMPARE(entry.mimeType().isEmpty(), hidden);
    QCOMPARE(entry.appName().isEmpty(), hidden);
    QCOMPARE(entry.groups().contains(u"X-Task t"_s), !hidden);
}

void TestDesktopEntry::refusesAndLogsWhatIsTooLarge()
{
    const QByteArray entry("[Desktop Entry]\nType=Application\nName=x\n#");
    const QString path = write(entry + QByteArray((1 << 20) - entry.size(), 'x'));
    QVERIFY(MDesktopEntry(path).isValid());
    (void)write(entry + QByteArray((1 << 20) - entry.size() + 1, 'x'));
    QTest::ignoreMessage(QtWarningMsg,
                         qPrintable(u"Desktop entry is too large: \"%1\""_s.arg(path)));
    QVERIFY(!MDesktopEntry(path).isValid());
}

void TestDesktopEntry::survivesWhatIsNoEntry()
{
    const QString tooLarge = u"Desktop entry is too large: \"%1\""_s;
    QTest::ignoreMessage(QtWarningMsg, qPrintable(tooLarge.arg(root.path(u"/x.desktop"_s))));
    QVERIFY(!MDesktopEntry(root.path(u"/none"_s)).isValid());
    QVERIFY(!MDesktopEntry(QString()).isValid());
    QVERIFY(!MDesktopEntry(root.path()).isValid());
    QVERIFY(!MDesktopEntry(write(QByteArray(2 * 1024 * 1024, 'x'))).isValid());
    QVERIFY(!MDesktopEntry(write(QByteArray("\0\xff[Desktop", 10))).isValid());
    // It has no writer, so opening it would block for ever.
    const QString pipe = root.path(u"/pipe"_s);
    QCOMPARE(mkfifo(qPrintable(pipe), 0600), 0);
    QVERIFY(!MDesktopEntry(pipe).isValid());
    // The part before a parse error is not visible.
    const MDesktopEntry half(write("[Desktop Entry]\nType=Application\nName=x\nno key\n"));
    QVERIFY(!half.isValid());
    QCOMPARE(half.groups(), QStringList());
}

QTEST_GUILESS_MAIN(TestDesktopEntry)
#include "tst_desktop_entry.moc"
