#include "common/Core/application_id.h"
#include "common/Core/findings.h"
#include "common/Core/manifest.h"
#include "support/literals.h"
#include "support/root_places.h"
#include "support/temp_root.h"
#include "unit/common/Core/log_lines.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

#include <sys/stat.h>

class TestManifest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { root.remove(path()); }

    void isInvalidWithoutAFile();
    void isInvalidForAnInvalidApplication();
    void readsTheObject_data();
    void readsTheObject();
    void saysWhereItCannotParse();
    void saysWhyItCannotOpen();
    void doesNotWaitForAPipe();
    void takesNoArray();
    void copiesItsRecord();

private:
    static Core::ApplicationId notes() { return Core::ApplicationId(u"com.example.Notes"_s); }
    static QString path() { return u"/opt/app/com.example.Notes/current/manifest.json"_s; }

    [[nodiscard]] Core::Manifest read(const Core::ApplicationId &id = notes()) const
    {
        return {id, placesOf(root), Core::LoggedFindings::instance()};
    }

    TempRoot root;
};

void TestManifest::isInvalidWithoutAFile()
{
    const LogLines log;
    QVERIFY(!Core::Manifest().isValid());
    QVERIFY(!read().isValid());
    QVERIFY(!read().keepMediaActiveInBackground());
    QCOMPARE(log.taken(), QStringList());
}

void TestManifest::isInvalidForAnInvalidApplication()
{
    root.write(u"/opt/app/Notes/current/manifest.json"_s, "{}");
    QVERIFY(!read(Core::ApplicationId(u"Notes"_s)).isValid());
}

void TestManifest::readsTheObject_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("keeps");
    QTest::newRow("true") << QByteArray(R"({"keepMediaActiveInBackground": true})") << true;
    QTest::newRow("false") << QByteArray(R"({"keepMediaActiveInBackground": false})") << false;
    QTest::newRow("no boolean") << QByteArray(R"({"keepMediaActiveInBackground": "true"})")
                                << false;
    QTest::newRow("not there") << QByteArray("{}") << false;
}

void TestManifest::readsTheObject()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, keeps);
    root.write(path(), text);
    const Core::Manifest manifest = read();
    QVERIFY(manifest.isValid());
    QCOMPARE(manifest.keepMediaActiveInBackground(), keeps);
}

void TestManifest::saysWhereItCannotParse()
{
    root.write(path(), "{\"a\": ");
    QTest::ignoreMessage(QtWarningMsg, "Could not parse manifest.json");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Parse error at  \\d+ : \".+\"$"_s));
    QVERIFY(!read().isValid());
}

void TestManifest::saysWhyItCannotOpen()
{
    root.write(path() + u"/a-directory"_s, "");
    const QString pattern = u"^Failed to open file: \"%1\" reason: \".+\"$"_s.arg(
        QRegularExpression::escape(root.path(path())));
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(pattern));
    QVERIFY(!read().isValid());
    root.remove(path() + u"/a-directory"_s);
    QDir().rmdir(root.path(path()));
}

void TestManifest::doesNotWaitForAPipe()
{
    root.write(path(), "");
    root.remove(path());
    QCOMPARE(mkfifo(qPrintable(root.path(path())), 0600), 0);
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(u"^Failed to open file: "_s));
    QVERIFY(!read().isValid());
}

void TestManifest::takesNoArray()
{
    root.write(path(), "[1, 2]");
    const LogLines log;
    QVERIFY(!read().isValid());
    QCOMPARE(log.taken(), QStringList());
}

void TestManifest::copiesItsRecord()
{
    root.write(path(), R"({"keepMediaActiveInBackground": true})");
    Core::Manifest copy;
    copy = read();
    const Core::Manifest another(copy);
    QVERIFY(another.isValid() && another.keepMediaActiveInBackground());
}

QTEST_GUILESS_MAIN(TestManifest)
#include "tst_manifest.moc"
