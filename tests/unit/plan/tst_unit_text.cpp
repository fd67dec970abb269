#include "plan/unit_text.h"

#include <QtTest>

using Core::UnitValues;

namespace {

const QString taskId = QStringLiteral("com.example.Notes.task_sync");

UnitValues typicalSettings()
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

} // namespace

class TestUnitText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void makesTheTextOfATypicalUnit();
    void makesTheTextOfAUnitWithoutSettings();
    void sortsSettingsIntoTheirSection();
};

void TestUnitText::makesTheTextOfATypicalUnit()
{
    QCOMPARE(Core::unitText(taskId, typicalSettings()), typicalText());
}

void TestUnitText::makesTheTextOfAUnitWithoutSettings()
{
    QCOMPARE(Core::unitText(taskId, {}),
             QByteArray("[Unit]\n"
                        "Description=Background task for com.example.Notes.task_sync\n"
                        "After=sailjail-prepare-binds.service\n"
                        "\n"
                        "[Service]\n"
                        "\n"
                        "[Install]\n"));
}

void TestUnitText::sortsSettingsIntoTheirSection()
{
    UnitValues settings = typicalSettings();
    settings.insert(QStringLiteral("MemoryMax"), QStringLiteral("64M"));
    settings.insert(QStringLiteral("LimitCPU"), 10);
    settings.insert(QStringLiteral("OOMScoreAdjust"), -100);
    settings.insert(QStringLiteral("ZLast"), QStringLiteral("true"));
    settings.insert(QStringLiteral("Also"), QStringLiteral("other.service"));
    QCOMPARE(Core::unitText(taskId, settings),
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

QTEST_APPLESS_MAIN(TestUnitText)
#include "tst_unit_text.moc"
