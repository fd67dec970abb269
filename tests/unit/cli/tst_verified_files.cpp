// Checks that systemd accepts the units and an XML parser the policies: those of the golden files,
// and those that render shows for generated declarations and requests.

#include "cli/declared_tasks.h"
#include "cli/rendering.h"
#include "common/places.h"
#include "component/generated_starts.h"
#include "plan/task_names.h"
#include "support/golden_plan.h"
#include "support/literals.h"
#include "support/temp_root.h"

#include <QFile>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTest>
#include <QXmlStreamReader>

#include <algorithm>

namespace {

constexpr uint seed = 12;
constexpr int applications = 400;
constexpr int fewestUnits = 200;
constexpr int fewestPlainUnits = 40;
constexpr int timeoutMs = 60000;

// Units in an image that systemd-analyze verifies.
class Image
{
public:
    Image()
    {
        m_root.write(u"/usr/lib/systemd/system/keep"_s, {});
        m_root.write(u"/usr/bin/firejail"_s, "\177ELF");
        QFile::setPermissions(m_root.path(u"/usr/bin/firejail"_s),
                              QFile::ReadOwner | QFile::ExeOwner);
    }
    void add(const QString &name, const QByteArray &unit)
    {
        m_root.write(u"/etc/systemd/system/"_s + name, unit);
        m_units.insert(name, unit);
    }
    [[nodiscard]] int count() const { return static_cast<int>(m_units.size()); }
    // The complaints of systemd-analyze, which runs without a manager.
    [[nodiscard]] QStringList complaints() const
    {
        QProcess verify;
        verify.setProcessChannelMode(QProcess::MergedChannels);
        verify.start(u"systemd-analyze"_s,
                     QStringList{u"verify"_s, u"--man=no"_s, u"--generators=no"_s,
                                 u"--recursive-errors=no"_s, u"--root="_s + m_root.path()}
                         + m_units.keys());
        if (!verify.waitForFinished(timeoutMs))
            return {u"systemd-analyze did not run: "_s + verify.errorString()};
        return complaintsIn(QString::fromUtf8(verify.readAll()));
    }
    // The unit and the key that a complaint is about; the key is empty when it is about the whole
    // unit.
    [[nodiscard]] QPair<QString, QString> placeOf(const QString &complaint) const
    {
        static const QRegularExpression pattern(
            u"^/.*/etc/systemd/system/([^/]+\\.service):(\\d+): "_s);
        const QRegularExpressionMatch match = pattern.match(complaint);
        static const QRegularExpression name(u"^(?:Unit )?([^/ ]+\\.service)[: ]"_s);
        if (!match.hasMatch())
            return {name.match(complaint).captured(1), {}};
        const QList<QByteArray> lines = m_units.value(match.captured(1)).split('\n');
        const QByteArray line = lines.value(match.captured(2).toInt() - 1);
        return {match.captured(1), QString::fromUtf8(line.left(line.indexOf('=')))};
    }

private:
    // A complaint is one line, unless it quotes a word with a line break.
    static QStringList complaintsIn(const QString &text)
    {
        QStringList complaints;
        bool isInQuotes = false;
        for (const QString &line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            if (isInQuotes)
                complaints.last() += QLatin1Char(' ') + line;
            else
                complaints.append(line);
            isInQuotes = complaints.constLast().contains(QLatin1String("unknown escape sequences"))
                && !complaints.constLast().endsWith(QLatin1Char('"'));
        }
        return complaints;
    }

    const TempRoot m_root;
    QMap<QString, QByteArray> m_units;
};

// Whether some characters of a command line are special to systemd, so that it may refuse the line.
// The linter warns about them.
bool isSpecialToSystemd(const QString &words)
{
    return std::any_of(words.begin(), words.end(),
                       [](QChar c) { return QLatin1String("\"'\\%").contains(c); });
}

// The elements of a policy, each with its attributes in order: "allow own=a.b". Empty when the text
// is not valid XML.
QStringList elementsOf(const QByteArray &policy)
{
    QXmlStreamReader reader(policy);
    QStringList elements;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        QString element = reader.name().toString();
        for (const QXmlStreamAttribute &attribute : reader.attributes())
            element += u" %1=%2"_s.arg(attribute.name(), attribute.value());
        elements.append(element);
    }
    return reader.hasError() ? QStringList() : elements;
}

QStringList policyElements(const QString &user, const QString &busName)
{
    return {u"busconfig"_s, u"policy user="_s + user, u"allow own="_s + busName,
            u"policy context=default"_s, u"allow send_destination="_s + busName};
}

} // namespace

class TestVerifiedFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void reportsWhatSystemdRefuses();
    void hasGoldenUnitsThatSystemdAccepts();
    void hasGoldenPoliciesThatAreXml();
    void rendersUnitsThatSystemdAccepts();
    void rendersPoliciesThatAreXml();

private:
    struct Start
    {
        Cli::DeclaredTask task;
        Client::StartRequest request;
        Core::TaskPlan plan;
    };
    QVector<Start> starts;
};

void TestVerifiedFiles::initTestCase()
{
    if (QStandardPaths::findExecutable(u"systemd-analyze"_s).isEmpty())
        QSKIP("systemd-analyze is not installed (scripts/setup)");
    const TempRoot root;
    GeneratedStarts generated(seed);
    for (int number = 0; number < applications; ++number)
        generated.writeApplication(root, number);
    Places places = Places::below(root.path());
    places.programsAreExamined = false;
    Places::setOfProcess(places);
    for (const Cli::DeclaredTask &task : Cli::declaredTasks()) {
        const Client::StartRequest request = generated.request();
        const Cli::Rendering rendering = Cli::render(task, request, places);
        if (!rendering.error)
            starts.append({task, request, rendering.plan});
    }
}

// Makes sure that the other tests would find faults.
void TestVerifiedFiles::reportsWhatSystemdRefuses()
{
    Image image;
    image.add(u"bad.service"_s,
              "[Service]\nLimitCPU=much\nExecStart=/usr/bin/firejail \"a\nUser=a\n");
    const QStringList complaints = image.complaints();
    QSet<QString> keys;
    for (const QString &complaint : complaints)
        keys.insert(image.placeOf(complaint).second);
    const QString all = complaints.join(QLatin1Char('\n'));
    QVERIFY2(keys.contains(u"LimitCPU"_s), qPrintable(all));
    QVERIFY2(keys.contains(u"ExecStart"_s), qPrintable(all));
    QVERIFY2(keys.contains(QString()), qPrintable(all));
}

void TestVerifiedFiles::hasGoldenUnitsThatSystemdAccepts()
{
    Image image;
    for (const QString &name : GoldenPlan::names())
        image.add(name + u".service"_s, GoldenPlan(name).unit);
    QVERIFY(image.count() >= 5);
    // The caller's words are written unchanged, even those that systemd does not accept as
    // assignments.
    for (const QString &complaint : image.complaints())
        QVERIFY2(image.placeOf(complaint).second == QLatin1String("Environment"),
                 qPrintable(complaint));
}

void TestVerifiedFiles::hasGoldenPoliciesThatAreXml()
{
    int policies = 0;
    for (const QString &name : GoldenPlan::names()) {
        const GoldenPlan golden(name);
        if (golden.policy.isEmpty())
            continue;
        QCOMPARE(elementsOf(golden.policy),
                 policyElements(golden.hints.value(u"User"_s).toString(),
                                golden.hints.value(u"DBusService"_s).toString()));
        ++policies;
    }
    QVERIFY(policies > 0);
}

void TestVerifiedFiles::rendersUnitsThatSystemdAccepts()
{
    Image image;
    int plain = 0;
    // The keys of each unit that systemd may complain about, because their values come from the
    // caller or the declaration.
    QMap<QString, QStringList> oddKeys;
    for (const Start &start : qAsConst(starts)) {
        const QString name = Core::unitNameOf(start.task.taskId.toString());
        image.add(name, start.plan.unit());
        QStringList &keys = oddKeys[name];
        keys = start.request.unitSettings.keys() + QStringList{u"Environment"_s};
        if (start.request.cpuLimit < 0)
            keys.append(u"LimitCPU"_s);
        // systemd warns about this user, although it exists.
        if (start.request.user == u"nobody"_s)
            keys.append(u"User"_s);
        // A unit whose command line is refused is invalid as a whole.
        if (isSpecialToSystemd(start.task.exec + start.request.params.join(QLatin1Char(' '))
                               + start.request.permissions.join(QLatin1Char(' '))))
            keys += QStringList{u"ExecStart"_s, QString()};
        else
            ++plain;
    }
    qInfo("%d units, %d of them with plain words", image.count(), plain);
    QVERIFY(image.count() >= fewestUnits);
    QVERIFY(plain >= fewestPlainUnits);
    for (const QString &complaint : image.complaints()) {
        // A warning about a name that it accepts.
        if (complaint.startsWith(QLatin1String("Accepting user/group name")))
            continue;
        const auto [unit, key] = image.placeOf(complaint);
        QVERIFY2(oddKeys.value(unit).contains(key), qPrintable(complaint));
    }
}

void TestVerifiedFiles::rendersPoliciesThatAreXml()
{
    int policies = 0;
    for (const Start &start : qAsConst(starts)) {
        if (!start.plan.policy)
            continue;
        QCOMPARE(elementsOf(*start.plan.policy),
                 policyElements(*start.request.user, *start.request.busName));
        ++policies;
    }
    QVERIFY(policies >= 10);
}

QTEST_GUILESS_MAIN(TestVerifiedFiles)
#include "tst_verified_files.moc"
