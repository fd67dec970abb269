#include "system/DBus/registrations.h"

#include "support/literals.h"
#include "support/odd_file.h"

#include <QDBusConnection>
#include <QTemporaryDir>
#include <QtTest>

using DBus::restoreRegistrations;

class TestRegistrations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { qunsetenv("RUNTIME_DIRECTORY"); }

    void takesNothingFromAnOddFile_data();
    void takesNothingFromAnOddFile();
    void takesNothingWithoutADirectory();
    void removesWhatItCannotUse();

private:
    [[nodiscard]] QString path() const { return m_directory->filePath(u"registrations.json"_s); }
    /// Not connected: these tests never get as far as asking the bus.
    static QDBusConnection noBus() { return QDBusConnection(u"none"_s); }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestRegistrations::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    qputenv("RUNTIME_DIRECTORY", QFile::encodeName(m_directory->path()));
}

void TestRegistrations::takesNothingFromAnOddFile_data()
{
    QTest::addColumn<QString>("kind");
    const QStringList kinds = OddFile::kinds();
    for (const QString &kind : kinds)
        QTest::newRow(qPrintable(kind)) << kind;
}

void TestRegistrations::takesNothingFromAnOddFile()
{
    QFETCH(QString, kind);
    QVERIFY(OddFile::make(kind, path(), "{}"));
    QVERIFY(restoreRegistrations(noBus()).isEmpty());
}

void TestRegistrations::takesNothingWithoutADirectory()
{
    qunsetenv("RUNTIME_DIRECTORY");
    QVERIFY(restoreRegistrations(noBus()).isEmpty());
}

// So that a harmful file is used only once.
void TestRegistrations::removesWhatItCannotUse()
{
    QVERIFY(OddFile::make(u"sparse, 1.5 GB"_s, path(), "{}"));
    QVERIFY(restoreRegistrations(noBus()).isEmpty());
    QVERIFY(!QFile::exists(path()));
}

QTEST_GUILESS_MAIN(TestRegistrations)
#include "tst_registrations.moc"
