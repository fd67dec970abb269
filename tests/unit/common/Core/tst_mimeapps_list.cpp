// The user's choices of applications in unusual cases and on a failing disk.

#include "common/Core/application_registry.h"
#include "common/Core/findings.h"
#include "common/Core/mimeapps_list.h"
#include "support/every_fault.h"
#include "support/literals.h"
#include "support/root_places.h"
#include "unit/common/Core/log_lines.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <QtTest>

#include <memory>

using Core::MimeappsEntries;
using Core::readMimeappsList;
using Core::writeMimeappsList;

namespace {

const QString type = u"text/plain"_s;
const QByteArray oldText = "[Default Applications]\ntext/plain=Old.desktop\n";
const QByteArray newText = "[Default Applications]\ntext/plain=New.desktop\n";
const QMap<QString, QString> choice{{type, u"New.desktop"_s}};

QString file() { return u"/home/config/mimeapps.list"_s; }
QString target() { return u"/home/target/list"_s; }

} // namespace

class TestMimeappsList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { root = std::make_unique<TempRoot>(); }
    void leavesOutWhatWouldNotReadBack_data();
    void leavesOutWhatWouldNotReadBack();
    void writesOddNamesThatReadBack_data();
    void writesOddNamesThatReadBack();
    void tellsAnUnreadableFileFromNone_data() { addFileErrors(); }
    void tellsAnUnreadableFileFromNone();
    void keepsTheOldChoicesOrHasTheNew_data();
    void keepsTheOldChoicesOrHasTheNew();
    void hasItsNewDirectoryOnTheDisk();
    void writesNoNewChoiceOverThoseThatItCouldNotRead_data() { addFileErrors(); }
    void writesNoNewChoiceOverThoseThatItCouldNotRead();

private:
    [[nodiscard]] Places places() const { return placesOf(*root); }
    /// The names that are read for a type, each in brackets.
    [[nodiscard]] QString chosenFor(const QString &mimeType) const
    {
        const auto entries = readMimeappsList(places(), Core::LoggedFindings::instance());
        QString names;
        const auto files = entries.value_or(MimeappsEntries()).value(mimeType);
        for (const Core::ChosenFile &chosen : files)
            names += QLatin1Char('<') + chosen.name + QLatin1Char('>');
        return names;
    }
    bool makeLink() const
    {
        root->write(target(), oldText);
        return QDir().mkpath(root->path(u"/home/config"_s))
            && QFile::link(root->path(target()), root->path(file()));
    }

    std::unique_ptr<TempRoot> root;
};

void TestMimeappsList::leavesOutWhatWouldNotReadBack_data()
{
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QString>("name");

    QTest::newRow("a semicolon") << type << u"A;B.desktop"_s;
    QTest::newRow("a line break") << type << u"A\nimage/png=B.desktop"_s;
    QTest::newRow("a line break at the end") << type << u"A.desktop\n"_s;
    QTest::newRow("a carriage return at the end") << type << u"A.desktop\r"_s;
    QTest::newRow("a blank at the beginning") << type << u" A.desktop"_s;
    QTest::newRow("nothing") << type << QString();
    QTest::newRow("half a character") << type << QString(QChar(0xd800)) + u".desktop"_s;
    QTest::newRow("a type with a separator") << u"text/a=b"_s << u"A.desktop"_s;
    QTest::newRow("a type that looks like a group") << u"[text]"_s << u"A.desktop"_s;
    QTest::newRow("a type that looks like a remark") << u"#text/plain"_s << u"A.desktop"_s;
}

void TestMimeappsList::leavesOutWhatWouldNotReadBack()
{
    QFETCH(QString, mimeType);
    QFETCH(QString, name);

    const QString other = u"zzz/other"_s;
    QString quoted;
    QDebug(&quoted) << mimeType << name;
    const LogLines log;
    writeMimeappsList(places(), {{mimeType, name}, {other, u"B.desktop"_s}});
    QCOMPARE(log.taken(),
             QStringList(u"Not written to \"%1\" because it would be read "
                         "differently: %2"_s.arg(root->path(file()), quoted.trimmed())));
    QCOMPARE(root->read(file()), QByteArray("[Default Applications]\nzzz/other=B.desktop\n"));
}

void TestMimeappsList::writesOddNamesThatReadBack_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("a blank inside") << u"A B.desktop"_s;
    QTest::newRow("a separator") << u"A=B.desktop"_s;
    QTest::newRow("a bracket") << u"[A].desktop"_s;
    QTest::newRow("a backslash") << u"A\\nB.desktop"_s;
    QTest::newRow("a carriage return inside") << u"A\rB.desktop"_s;
    QTest::newRow("other letters") << QString::fromUtf8("\xc3\x84\xf0\x9f\x98\x80.desktop");
}

void TestMimeappsList::writesOddNamesThatReadBack()
{
    QFETCH(QString, name);

    const LogLines log;
    writeMimeappsList(places(), {{type, name}});
    QCOMPARE(log.taken(), QStringList());
    QCOMPARE(chosenFor(type), QLatin1Char('<') + name + QLatin1Char('>'));
}

void TestMimeappsList::tellsAnUnreadableFileFromNone()
{
    QFETCH(int, error);

    root->write(file(), oldText);
    withEveryCallFailing([&](int which) {
        const LogLines log;
        std::optional<MimeappsEntries> entries;
        QString failed;
        {
            const FileFaults faults(which, error);
            entries = readMimeappsList(places(), Core::LoggedFindings::instance());
            failed = faults.failed();
        }
        const auto check = [&] {
            QVERIFY2(!entries || entries->contains(type), qPrintable(failed));
            QVERIFY2(entries || log.taken().size() == 1, qPrintable(failed));
        };
        check();
        return !failed.isEmpty();
    });
    root->remove(file());
    QVERIFY(readMimeappsList(places(), Core::LoggedFindings::instance()).has_value());
}

void TestMimeappsList::keepsTheOldChoicesOrHasTheNew_data() { addFileErrors(); }

void TestMimeappsList::keepsTheOldChoicesOrHasTheNew()
{
    QFETCH(int, error);

    withEveryCallFailing([&](int which) {
        root = std::make_unique<TempRoot>();
        const bool isReady = makeLink();
        const LogLines log;
        QString failed;
        {
            const FileFaults faults(which, error);
            writeMimeappsList(places(), choice);
            failed = faults.failed();
        }
        const QByteArray now = root->read(target());
        const auto check = [&] {
            QVERIFY(isReady);
            QVERIFY2(now == newText || (now == oldText && !log.taken().isEmpty()),
                     qPrintable(failed));
            QCOMPARE(QFile::symLinkTarget(root->path(file())), root->path(target()));
            // A temporary file that cannot be removed is left.
            const bool isLeft = failed.startsWith(QLatin1String("unlink"));
            for (const char *folder : {"/home/config", "/home/target"})
                QVERIFY2(
                    isLeft
                        || QDir(root->path(QString::fromLatin1(folder)))
                                .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                                .size()
                            == 1,
                    qPrintable(failed));
        };
        check();
        return !failed.isEmpty();
    });
}

void TestMimeappsList::hasItsNewDirectoryOnTheDisk()
{
    const FileFaults watched;
    writeMimeappsList(places(), choice);
    const QStringList changes = watched.changes();
    for (const char *made : {"/home", "/home/config"}) {
        const QString path = root->path(QString::fromLatin1(made));
        const auto at = changes.indexOf(u"mkdir "_s + path);
        QVERIFY2(at >= 0 || path == root->path(u"/home"_s), made);
        const QString parent = u"fsync "_s + QFileInfo(path).path();
        QVERIFY2(at < 0 || changes.indexOf(parent) > at, made);
    }
}

namespace {

const QByteArray entry = "[Desktop Entry]\nType=Application\nName=A\nMimeType=image/png\n"
                         "[X-Application]\nOrganizationName=com.x\nApplicationName=A\n";

} // namespace

void TestMimeappsList::writesNoNewChoiceOverThoseThatItCouldNotRead()
{
    QFETCH(int, error);

    const LogLines log;
    root->write(u"/usr/share/applications/A.desktop"_s, entry);
    Core::ApplicationRegistry registry(placesOf(*root), Core::LoggedFindings::instance());
    const Core::ApplicationId application(u"com.x"_s, u"A"_s);
    withEveryCallFailing([&](int which) {
        // Written by another program after the scan.
        root->write(file(), "[Default Applications]\nimage/gif=A.desktop\n");
        QString failed;
        {
            const FileFaults faults(which, error);
            registry.setDefaultHandlerForUri(QUrl(u"file:///none.png"_s), application);
            failed = faults.failed();
        }
        const QByteArray now = root->read(file());
        const auto check = [&] {
            QVERIFY2(now.contains("image/gif=A.desktop"), qPrintable(failed));
        };
        check();
        return !failed.isEmpty();
    });
}

QTEST_GUILESS_MAIN(TestMimeappsList)
#include "tst_mimeapps_list.moc"
