#include "plan/unit_text.h"
#include "support/literals.h"

#include <QtTest>

using Core::UnitValues;

namespace {

const QString taskId = u"com.example.Notes.task_sync"_s;

UnitValues typicalSettings()
{
    return {{u"WantedBy"_s, u"multi-user.target"_s},
            {u"User"_s, u"nobody"_s},
            {u"ExecStart"_s, u"/usr/bin/firejail -- /bin/true"_s},
            {u"Environment"_s, QStringList{u"A=1"_s, u"B=two words"_s}}};
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
    settings.insert(u"MemoryMax"_s, u"64M"_s);
    settings.insert(u"LimitCPU"_s, 10);
    settings.insert(u"OOMScoreAdjust"_s, -100);
    settings.insert(u"ZLast"_s, u"true"_s);
    settings.insert(u"Also"_s, u"other.service"_s);
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
