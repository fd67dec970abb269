// The state of a file after any single system call has failed while it was replaced.

#include "common/atomic_file.h"
#include "support/every_fault.h"
#include "support/literals.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(cannot be read)");
}

bool fill(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

/// A folder with something in the file's place.
class Fixture
{
public:
    explicit Fixture(const QString &inPlace)
    {
        m_isMade = m_folder.isValid();
        if (inPlace == QLatin1String("a file"))
            m_isMade = fill(file(), "old");
        else if (inPlace.startsWith(QLatin1String("a link")))
            m_isMade = QDir(m_folder.path()).mkdir(u"elsewhere"_s)
                && QFile::link(u"elsewhere/target"_s, file());
        if (inPlace == QLatin1String("a link to a file"))
            m_isMade = m_isMade && fill(m_folder.filePath(u"elsewhere/target"_s), "old");
        m_before = names();
    }

    [[nodiscard]] bool isMade() const { return m_isMade; }
    [[nodiscard]] QString file() const { return m_folder.filePath(u"file"_s); }
    [[nodiscard]] QStringList names() const
    {
        QStringList names;
        for (const QString &folder : {m_folder.path(), m_folder.filePath(u"elsewhere"_s)})
            names += QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                            | QDir::NoDotAndDotDot);
        return names;
    }
    [[nodiscard]] QStringList namesBefore() const { return m_before; }
    [[nodiscard]] QString linkTarget() const { return QFile::symLinkTarget(file()); }

private:
    QTemporaryDir m_folder;
    bool m_isMade = false;
    QStringList m_before;
};

// Returns whether the call was reached.
bool writeWithAFault(const QString &inPlace, SpecialFiles special, int which, int error)
{
    const Fixture fixture(inPlace);
    const QByteArray before = contentOf(fixture.file());
    const QString link = fixture.linkTarget();
    QString failed;
    FileWrite result = FileWrite::Written;
    {
        const FileFaults faults(which, error);
        result = writeFileAtomically(fixture.file(), "new", FileReaders::Everybody, special);
        failed = faults.failed();
    }
    const auto check = [&] {
        QVERIFY(fixture.isMade());
        const QByteArray now = contentOf(fixture.file());
        const bool isNew = now == "new";
        QVERIFY2(isNew || now == before,
                 qPrintable(failed + QLatin1String(": ") + QString::fromUtf8(now)));
        QVERIFY2(result != FileWrite::Written || isNew, qPrintable(failed));
        QVERIFY2(result != FileWrite::CannotOpen || !isNew, qPrintable(failed));
        QVERIFY2(result != FileWrite::Incomplete || !isNew, qPrintable(failed));
        const bool keepsLink = !isNew || special == SpecialFiles::WriteThrough;
        QVERIFY2(!keepsLink || fixture.linkTarget() == link, qPrintable(failed));
        QVERIFY2(isNew || fixture.names() == fixture.namesBefore(), qPrintable(failed));
        // A temporary file that cannot be removed is left until the daemon starts again.
        QVERIFY2(failed.startsWith(QLatin1String("unlink"))
                     || fixture.names().filter(u".orvane."_s).isEmpty(),
                 qPrintable(failed));
    };
    check();
    return !failed.isEmpty();
}

} // namespace

class TestAtomicFileFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void leavesTheOldFileOrTheNew_data();
    void leavesTheOldFileOrTheNew();
    void keepsTheOldFileWhenTheDiskDoesNotTakeTheName();
    void acceptsAFileSystemThatCannotSyncFolders();
    void changesNothingWhenTheFolderCannotBeOpened();
    void hasTheFolderOnTheDiskAtTheEnd_data();
    void hasTheFolderOnTheDiskAtTheEnd();
    void replacesALinkWhenTold();
    void leavesWhatAReplacedLinkLedTo();
};

void TestAtomicFileFaults::leavesTheOldFileOrTheNew_data() { addFileErrors(); }

void TestAtomicFileFaults::leavesTheOldFileOrTheNew()
{
    QFETCH(int, error);
    const QStringList inPlace{u"nothing"_s, u"a file"_s, u"a link to a file"_s,
                              u"a link to nothing"_s};
    for (const QString &what : inPlace) {
        for (const SpecialFiles special : {SpecialFiles::WriteThrough, SpecialFiles::Replace})
            withEveryCallFailing(
                [&](int which) { return writeWithAFault(what, special, which, error); });
    }
}

namespace {

// The position of a system call in the write of a new file.
int numberOf(const QString &call)
{
    for (int which = 0;; ++which) {
        const Fixture fixture(u"a file"_s);
        const FileFaults faults(which, EIO);
        (void)writeFileAtomically(fixture.file(), "new");
        if (!faults.hasFired())
            return -1;
        if (faults.failed().startsWith(call)
            && !faults.failed().contains(QLatin1String(".orvane.")))
            return which;
    }
}

} // namespace

void TestAtomicFileFaults::keepsTheOldFileWhenTheDiskDoesNotTakeTheName()
{
    const int sync = numberOf(u"fsync"_s);
    QVERIFY(sync >= 0);
    const Fixture fixture(u"a file"_s);
    {
        const FileFaults faults(sync, EIO);
        QCOMPARE(writeFileAtomically(fixture.file(), "new"), FileWrite::Incomplete);
    }
    QFile file(fixture.file());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("old"));
}

void TestAtomicFileFaults::acceptsAFileSystemThatCannotSyncFolders()
{
    const int sync = numberOf(u"fsync"_s);
    QVERIFY(sync >= 0);
    const Fixture fixture(u"a file"_s);
    const FileFaults faults(sync, EINVAL);
    QCOMPARE(writeFileAtomically(fixture.file(), "new"), FileWrite::Written);
}

void TestAtomicFileFaults::changesNothingWhenTheFolderCannotBeOpened()
{
    const int open = numberOf(u"open"_s);
    QVERIFY(open >= 0);
    const Fixture fixture(u"a file"_s);
    {
        const FileFaults faults(open, EMFILE);
        QCOMPARE(writeFileAtomically(fixture.file(), "new"), FileWrite::CannotOpen);
        QCOMPARE(faults.changes(), QStringList());
    }
    QCOMPARE(contentOf(fixture.file()), QByteArray("old"));
}

void TestAtomicFileFaults::hasTheFolderOnTheDiskAtTheEnd_data()
{
    QTest::addColumn<QString>("inPlace");
    QTest::addColumn<QString>("folder");
    QTest::newRow("a file's own") << u"a file"_s << QString();
    QTest::newRow("that of a link's end") << u"a link to a file"_s << u"/elsewhere"_s;
}

void TestAtomicFileFaults::hasTheFolderOnTheDiskAtTheEnd()
{
    QFETCH(QString, inPlace);
    QFETCH(QString, folder);

    const Fixture fixture(inPlace);
    const FileFaults watched;
    QCOMPARE(writeFileAtomically(fixture.file(), "new"), FileWrite::Written);
    const QStringList changes = watched.changes();
    QCOMPARE(changes.size(), 4);
    // The text is synced first, because a name without its text would be half a file after a crash.
    QVERIFY2(changes.at(0).startsWith(QLatin1String("fsync "))
                 && changes.at(0).contains(QLatin1String("/.orvane.")),
             qPrintable(changes.at(0)));
    QVERIFY2(changes.at(1).startsWith(QLatin1String("rename ")), qPrintable(changes.at(1)));
    QCOMPARE(changes.at(2), u"fsync "_s + QFileInfo(fixture.file()).absolutePath() + folder);
    // The old file is removed last, because it is restored after a failure.
    QVERIFY2(changes.at(3).startsWith(QLatin1String("unlink ")), qPrintable(changes.at(3)));
}

void TestAtomicFileFaults::replacesALinkWhenTold()
{
    for (const char *what : {"a link to a file", "a link to nothing"}) {
        const Fixture fixture(QString::fromLatin1(what));
        QCOMPARE(writeFileAtomically(fixture.file(), "new", FileReaders::Everybody,
                                     SpecialFiles::Replace),
                 FileWrite::Written);
        QCOMPARE(fixture.linkTarget(), QString());
        QCOMPARE(contentOf(fixture.file()), QByteArray("new"));
    }
}

void TestAtomicFileFaults::leavesWhatAReplacedLinkLedTo()
{
    const Fixture fixture(u"a link to a file"_s);
    const QString target = fixture.linkTarget();
    QCOMPARE(
        writeFileAtomically(fixture.file(), "new", FileReaders::Everybody, SpecialFiles::Replace),
        FileWrite::Written);
    QCOMPARE(contentOf(target), QByteArray("old"));
}

QTEST_GUILESS_MAIN(TestAtomicFileFaults)
#include "tst_atomic_file_faults.moc"
