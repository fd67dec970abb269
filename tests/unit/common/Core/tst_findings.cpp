#include "common/Core/findings.h"
#include "support/literals.h"

#include <QTest>
#include <QVector>

namespace {

struct Message
{
    QtMsgType type;
    QString text;
    int line;
    QByteArray file;
    QByteArray function;
};

QVector<Message> s_messages;

void keep(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    s_messages.append({type, text, context.line, context.file, context.function});
}

/// Collects findings, as a tool does.
class Collected : public Core::Findings
{
public:
    QVector<Core::Finding> all;
    void report(const Core::Finding &finding, const Core::FindingOrigin &) override
    {
        all.append(finding);
    }
};

Core::Finding taskName()
{
    Core::Finding finding;
    finding.rule = u"task-name"_s;
    finding.file = u"/a.desktop"_s;
    finding.group = u"X-Task 1"_s;
    return finding;
}

} // namespace

class TestFindings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void logsWhatAWarningWouldHaveLogged();
    void logsAtDebugLevel();
    void keepsSilentAboutRemarks();
    void handsTheWholeFindingOver();
};

void TestFindings::logsWhatAWarningWouldHaveLogged()
{
    const auto speak = [](Core::Findings &findings) {
        const QString name = u"1\nsync"_s;
        // On one line, so that both have the same line number.
        // clang-format off
        ORVANE_WARN(findings, taskName()) << "Invalid task name:" << name << 5; qWarning() << "Invalid task name:" << name << 5;
        // clang-format on
    };
    s_messages.clear();
    const QtMessageHandler before = qInstallMessageHandler(keep);
    speak(Core::LoggedFindings::instance());
    qInstallMessageHandler(before);
    QCOMPARE(s_messages.size(), 2);
    QCOMPARE(s_messages.at(0).text, s_messages.at(1).text);
    QCOMPARE(s_messages.at(0).type, QtWarningMsg);
    QCOMPARE(s_messages.at(0).line, s_messages.at(1).line);
    QCOMPARE(s_messages.at(0).file, s_messages.at(1).file);
    QCOMPARE(s_messages.at(0).function, s_messages.at(1).function);
}

void TestFindings::logsAtDebugLevel()
{
    s_messages.clear();
    const QtMessageHandler before = qInstallMessageHandler(keep);
    ORVANE_MENTION(Core::LoggedFindings::instance(), taskName()) << "seen";
    qInstallMessageHandler(before);
    QCOMPARE(s_messages.size(), 1);
    QCOMPARE(s_messages.constFirst().type, QtDebugMsg);
    QCOMPARE(s_messages.constFirst().text, u"seen"_s);
}

void TestFindings::keepsSilentAboutRemarks()
{
    s_messages.clear();
    const QtMessageHandler before = qInstallMessageHandler(keep);
    ORVANE_REMARK(Core::LoggedFindings::instance(), taskName()) << "seen";
    qInstallMessageHandler(before);
    QVERIFY(s_messages.isEmpty());
    Collected collected;
    ORVANE_REMARK(collected, taskName()) << "seen";
    QCOMPARE(collected.all.size(), 1);
}

void TestFindings::handsTheWholeFindingOver()
{
    Collected collected;
    ORVANE_WARN(collected, taskName()) << "Invalid task name:" << u"1"_s;
    QCOMPARE(collected.all.size(), 1);
    const Core::Finding finding = collected.all.constFirst();
    QCOMPARE(finding.rule, u"task-name"_s);
    QCOMPARE(finding.group, u"X-Task 1"_s);
    QCOMPARE(finding.text, u"Invalid task name: \"1\""_s);
}

QTEST_APPLESS_MAIN(TestFindings)
#include "tst_findings.moc"
