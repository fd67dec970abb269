#include "cli/units_at_boot.h"
#include "common/places.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QDir>
#include <QFile>
#include <QTest>

class TestUnitsAtBoot : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void areThoseThatALinkEnables();
    void areNoneWithoutALink();
    void areNoneWithoutAUnit();
    void areNoneThatAreMasked();
    void areOnlyThoseOfTasks();
    void areThoseOfTheImageEvenWithLinksOutOfIt();

private:
    [[nodiscard]] static QStringList of(const TempRoot &root)
    {
        return Cli::unitsAtBoot(Places::below(root.path()));
    }
    [[nodiscard]] static QString id() { return u"com.example.Notes.task_sync"_s; }
    [[nodiscard]] static QString unit() { return u"ov_task.com.example.Notes.task_sync.service"_s; }
};

void TestUnitsAtBoot::areThoseThatALinkEnables()
{
    const TempRoot root;
    root.startAtBoot(id());
    // A second link to the same unit, in another folder.
    const QString folder = root.path(u"/etc/systemd/system/other.target.requires"_s);
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(QFile::link(root.unitFile(id()), folder + QLatin1Char('/') + unit()));
    QCOMPARE(of(root), QStringList{unit()});
}

void TestUnitsAtBoot::areNoneWithoutALink()
{
    const TempRoot root;
    root.write(root.unitFile(id()), "[Service]\n");
    QCOMPARE(of(root), QStringList());
}

void TestUnitsAtBoot::areNoneWithoutAUnit()
{
    const TempRoot root;
    root.startAtBoot(id());
    root.remove(root.unitFile(id()));
    QCOMPARE(of(root), QStringList());
}

void TestUnitsAtBoot::areNoneThatAreMasked()
{
    const TempRoot root;
    root.startAtBoot(id());
    root.remove(root.unitFile(id()));
    // A link to an existing file, so that the unit is left out as masked rather than as missing.
    root.write(u"/etc/empty"_s, {});
    QVERIFY(QFile::link(root.path(u"/etc/empty"_s), root.path(root.unitFile(id()))));
    QCOMPARE(of(root), QStringList());
}

void TestUnitsAtBoot::areOnlyThoseOfTasks()
{
    const TempRoot root;
    const QString folder = u"/etc/systemd/system/"_s;
    root.write(folder + u"ssh.service"_s, "[Service]\n");
    root.write(folder + u"multi-user.target.wants/ssh.service"_s, {});
    QCOMPARE(of(root), QStringList());
}

void TestUnitsAtBoot::areThoseOfTheImageEvenWithLinksOutOfIt()
{
    const TempRoot system;
    system.startAtBoot(u"com.example.Host.task_x"_s);
    const TempRoot root;
    root.startAtBoot(id());
    const QString units = u"/etc/systemd/system"_s;
    const auto linkUnits = [&](const QString &target) {
        return QFile::link(target, root.path(units));
    };
    QVERIFY(QDir().rename(root.path(units), root.path(u"/etc/units"_s)));
    QVERIFY(linkUnits(u"/etc/units"_s));
    QCOMPARE(of(root), QStringList{unit()});
    root.remove(units);
    QVERIFY(linkUnits(system.path(units)));
    QCOMPARE(of(root), QStringList());
}

QTEST_GUILESS_MAIN(TestUnitsAtBoot)
#include "tst_units_at_boot.moc"
