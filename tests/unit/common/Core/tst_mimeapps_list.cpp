// The user's choices of applications in unusual cases and on a failing disk.

#include "common/Core/application_registry.h"
#include "common/Core/findings.h"
#include "common/Core/mimeapps_list.h"
#include "support/every_fault.h"
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

const QString type = QStringLiteral("text/plain");
const QByteArray oldText = "[Default Applications]\ntext/plain=Old.desktop\n";
const QByteArray newText = "[Default Applications]\ntext/plain=New.desktop\n";
const QMap<QString, QString> choice{{type, QStringLiteral("New.desktop")}};

QString file() { return QStringLiteral("/home/config/mimeapps.list"); }
QString target() { return QStringLiteral("/home/target/list"); }

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
        return QDir().mkpath(root->path(QStringLiteral("/home/config")))
            && QFile::link(root->path(target()), root->path(file()));
    }

    std::unique_ptr<TempRoot> root;
};

void TestMimeappsList::leavesOutWhatWouldNotReadBack_data()
{
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QString>("name");

    QTest::newRow("a semicolon") << type << QStringLiteral("A;B.desktop");
    QTest::newRow("a line break") << type << QStringLiteral("A\nimage/png=B.desktop");
    QTest::newRow("a line break at the end") << type << QStringLiteral("A.desktop\n");
    QTest::newRow("a carriage return at the end") << type << QStringLiteral("A.desktop\r");
    QTest::newRow("a blank at the beginning") << type << QStringLiteral(" A.desktop");
    QTest::newRow("nothing") << type << QString();
    QTest::newRow("half a character")
        << type << QString(QChar(0xd800)) + QStringLiteral(".desktop");
    QTest::newRow("a type with a separator")
        << QStringLiteral("text/a=b") << QStringLiteral("A.desktop");
    QTest::newRow("a type that looks like a group")
        << QStringLiteral("[text]") << QStringLiteral("A.desktop");
    QTest::newRow("a type that looks like a remark")
        << QStringLiteral("#text/plain") << QStringLiteral("A.desktop");
}

void TestMimeappsList::leavesOutWhatWouldNotReadBack()
{
    QFETCH(QString, mimeType);
    QFETCH(QString, name);

    const QString other = QStringLiteral("zzz/other");
    QString quoted;
    QDebug(&quoted) << mimeType << name;
    const LogLines log;
    writeMimeappsList(places(), {{mimeType, name}, {other, QStringLiteral("B.desktop")}});
    QCOMPARE(log.taken(),
             QStringList(QStringLiteral("Not written to \"%1\" because it would be read "
                                        "differently: %2")
                             .arg(root->path(file()), quoted.trimmed())));
    QCOMPARE(root->read(file()), QByteArray("[Default Applications]\nzzz/other=B.desktop\n"));
}

void TestMimeappsList::writesOddNamesThatReadBack_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("a blank inside") << QStringLiteral("A B.desktop");
    QTest::newRow("a separator") << QStringLiteral("A=B.desktop");
    QTest::newRow("a bracket") << QStringLiteral("[A].desktop");
    QTest::newRow("a backslash") << QStringLiteral("A\\nB.desktop");
    QTest::newRow("a carriage return inside") << QStringLiteral("A\rB.desktop");
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
        const auto at = changes.indexOf(QStringLiteral("mkdir ") + path);
        QVERIFY2(at >= 0 || path == root->path(QStringLiteral("/home")), made);
        const QString parent = QStringLiteral("fsync ") + QFileInfo(path).path();
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
    root->write(QStringLiteral("/usr/share/applications/A.desktop"), entry);
    Core::ApplicationRegistry registry(placesOf(*root), Core::LoggedFindings::instance());
    const Core::ApplicationId application(QStringLiteral("com.x"), QStringLiteral("A"));
    withEveryCallFailing([&](int which) {
        // Written by another program after the scan.
        root->write(file(), "[Default Applications]\nimage/gif=A.desktop\n");
        QString failed;
        {
            const FileFaults faults(which, error);
            registry.setDefaultHandlerForUri(QUrl(QStringLiteral("file:///none.png")), application);
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
