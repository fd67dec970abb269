#include "support/fixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

QString text(const char *words) { return QString::fromLatin1(words); }

QJsonObject gateIn(const ToolOutput &output, const char *name)
{
    const QJsonArray gates =
        QJsonDocument::fromJson(output.out).object().value(text("gates")).toArray();
    for (const auto &gate : gates) {
        if (gate.toObject().value(text("gate")).toString() == text(name))
            return gate.toObject();
    }
    return {};
}

QString answerIn(const ToolOutput &output, const char *gate)
{
    return gateIn(output, gate).value(text("answer")).toString();
}

QVariantMap unit(const char *load, const char *active)
{
    return {{text("LoadState"), text(load)}, {text("ActiveState"), text(active)}};
}

} // namespace

// orvanectl doctor: what it asks the bus, systemd and the daemon.
class TestOrvanectlDoctor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { fixture = std::make_unique<Fixture>(); }
    void cleanup() { fixture.reset(); }

    void asksTheBusAndSystemd();
    void startsTheDaemonToAskIt();
    void saysThatTheBusIsNotThere();
    void looksAtFilesAloneOfAnImage();

private:
    [[nodiscard]] ToolOutput run(const QStringList &more = {},
                                 const QStringList &environment = {}) const
    {
        return fixture->runTool(QStringList{text("doctor"), text("--json")} + more, environment);
    }

    std::unique_ptr<Fixture> fixture;
};

void TestOrvanectlDoctor::asksTheBusAndSystemd()
{
    QVariantMap daemon = unit("loaded", "active");
    daemon.insert(text("Environment"), QStringList{text("ORVANE_TASK_GROUPS=some")});
    fixture->systemd->properties.insert(text("orvane.service"), daemon);
    fixture->systemd->properties.insert(text("sailjail-prepare-binds.service"),
                                        unit("loaded", "failed"));
    fixture->systemd->properties.insert(text("dbus.service"),
                                        {{text("Id"), text("dbus-broker.service")}});
    fixture->root.write(text("/etc/group"), "some:x:7:\n");
    QVERIFY(fixture->start());
    const ToolOutput output = run();
    QCOMPARE(output.errors, QByteArray());
    QCOMPARE(output.status, 1);
    QVERIFY(!QJsonDocument::fromJson(output.out).object().value(text("complete")).toBool(true));
    QCOMPARE(gateIn(output, "bus").value(text("evidence")).toString(), text("dbus-broker answers"));
    QCOMPARE(answerIn(output, "daemon's unit"), text("yes"));
    QCOMPARE(answerIn(output, "task groups"), text("yes"));
    QCOMPARE(gateIn(output, "binds").value(text("cure")).toString(),
             text("systemctl restart sailjail-prepare-binds.service"));
    QCOMPARE(answerIn(output, "list of users"), text("yes"));
    // A private bus has no policy for the daemon and cannot start it.
    QCOMPARE(answerIn(output, "bus policy"), text("no"));
    QCOMPARE(answerIn(output, "bus activation"), text("no"));
    QCOMPARE(gateIn(output, "daemon").value(text("evidence")).toString(),
             text("it needs the bus policy"));
}

void TestOrvanectlDoctor::startsTheDaemonToAskIt()
{
    if (PrivateBus::isBroker())
        QSKIP(PrivateBus::noActivation);
    fixture->root.write(text("/usr/share/dbus-1/system.d/orvane.conf"),
                        "<busconfig><policy user=\"root\"><allow own=\"org.zarn.Orvane\"/></policy>"
                        "</busconfig>");
    fixture->root.write(text("/usr/share/dbus-1/system-services/org.zarn.Orvane.service"),
                        "[D-BUS Service]\nSystemdService=orvane.service\n");
    fixture->systemd->properties.insert(text("orvane.service"), unit("loaded", "inactive"));
    QVERIFY(fixture->activateDaemon({}));
    QVERIFY(!fixture->nameIsOwned());
    const ToolOutput output = run();
    QCOMPARE(answerIn(output, "bus activation"), text("yes"));
    QCOMPARE(answerIn(output, "daemon"), text("yes"));
    QVERIFY(fixture->nameIsOwned());
}

void TestOrvanectlDoctor::saysThatTheBusIsNotThere()
{
    const ToolOutput output = run({}, {text("DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere")});
    QCOMPARE(output.status, 1);
    QCOMPARE(answerIn(output, "bus"), text("no"));
    QCOMPARE(answerIn(output, "daemon"), text("unknown"));
    QCOMPARE(answerIn(output, "user sessions"), text("unknown"));
}

void TestOrvanectlDoctor::looksAtFilesAloneOfAnImage()
{
    const TempRoot image;
    image.startAtBoot(text("a.b.task_c"));
    // This task is not started at boot, because its unit is missing.
    image.write(text("/etc/systemd/system/multi-user.target.wants/ov_task.a.b.task_d.service"), "");
    const ToolOutput output = run({text("--root"), image.path()});
    QCOMPARE(answerIn(output, "bus"), QString());
    QCOMPARE(answerIn(output, "bus policy"), text("no"));
    const QJsonObject object = QJsonDocument::fromJson(output.out).object();
    QCOMPARE(object.value(text("tasksAtBoot")).toArray().at(0).toObject().value(text("task")),
             QJsonValue(text("a.b.task_c")));
    const ToolOutput words = fixture->runTool({text("doctor"), text("--root"), image.path()});
    const QByteArray end = "\nOn its first boot:\n  a.b.task_c\n    " + image.path().toUtf8()
        + "/etc/systemd/system/ov_task.a.b.task_c.service\n";
    QVERIFY2(words.out.endsWith(end), words.out.constData());
}

QTEST_GUILESS_MAIN(TestOrvanectlDoctor)
#include "tst_orvanectl_doctor.moc"
