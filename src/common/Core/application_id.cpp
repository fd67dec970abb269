#include "common/Core/application_id.h"

#include <QRegularExpression>

#include <algorithm>
#include <limits>

namespace Core {

namespace {

// Lengths within an id are stored in 16 bits. No real id is that long.
constexpr int longestText = std::numeric_limits<qint16>::max();

// Length of the organisation; 0 when the text is not an application id.
qint16 organisationLengthOf(const QString &text)
{
    if (text.size() > longestText)
        return 0;
    // "\z" and not "$", which also matches before a trailing line break: ids become part of file
    // names.
    static const QRegularExpression pattern(
        QStringLiteral("^([0-9a-z._-]+)\\.([A-Za-z_-][A-Z0-9a-z_.-]*)\\z"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return 0;
    if (match.capturedLength(1) < 1 || match.capturedLength(2) < 1)
        return -1;
    return static_cast<qint16>(match.capturedLength(1));
}

qint16 markOf(qsizetype length)
{
    return static_cast<qint16>(qMin<qsizetype>(length, longestText));
}

QString taskPrefix() { return QStringLiteral("task_"); }

QString instancePrefix() { return QStringLiteral("instance_"); }

QStringView behind(const QString &text, qsizetype dot) { return QStringView(text).mid(dot + 1); }

bool isDecimalDigit(QChar character) { return character.category() == QChar::Number_DecimalDigit; }

bool isInstanceSuffix(QStringView suffix)
{
    if (!suffix.startsWith(instancePrefix()))
        return false;
    const QStringView number = suffix.mid(instancePrefix().size());
    return std::all_of(number.begin(), number.end(), isDecimalDigit);
}

// Encodes one character of a file name for an id. The code is the Latin-1 value as a signed byte.
// It must not change, because such ids are stored in settings and unit files.
QString encoded(QChar character)
{
    const ushort code = character.unicode();
    const bool asciiLetter = (code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z');
    if (asciiLetter || isDecimalDigit(character))
        return character;
    // The sign is meant. NOLINTNEXTLINE(bugprone-signed-char-misuse)
    const int value = qint8(character.toLatin1());
    // QString::number() prints no minus sign in base 16.
    return (value < 0 ? QStringLiteral("_-") : QStringLiteral("_"))
        + QString::number(qAbs(value), 16);
}

} // namespace

ApplicationId::ApplicationId(const QString &text)
    : m_text(text)
    , m_organisationLength(organisationLengthOf(text))
    , m_length(markOf(text.size()))
{
}

ApplicationId::ApplicationId(const QString &organisation, const QString &name)
    : m_text(organisation + QLatin1Char('.') + name)
    , m_organisationLength(m_text.size() > longestText ? qint16(0) : markOf(organisation.size()))
    , m_length(markOf(m_text.size()))
{
}

ApplicationId ApplicationId::fromDesktopFileName(const QString &fileName)
{
    const QString suffix = QStringLiteral(".desktop");
    if (!fileName.endsWith(suffix))
        return ApplicationId(QString());
    const auto start = fileName.lastIndexOf(QLatin1Char('/')) + 1;
    const QStringView baseName =
        QStringView(fileName).mid(start, fileName.size() - suffix.size() - start);
    if (baseName.isEmpty())
        return ApplicationId(QString());
    QString name;
    for (const QChar character : baseName)
        name += encoded(character);
    return {QStringLiteral("org.zarn"), name};
}

ApplicationId ApplicationId::startOf(const QString &text, qint16 length, qint16 organisationLength)
{
    const QString start = length < 1 ? text : text.left(length);
    if (organisationLength < 1)
        return ApplicationId(start);
    // The text alone does not tell which of its dots separates the two parts.
    ApplicationId id;
    id.m_text = start;
    id.m_organisationLength = organisationLength;
    id.m_length = markOf(start.size());
    return id;
}

QStringView ApplicationId::organisation() const
{
    return QStringView(m_text).left(std::max<qint16>(0, m_organisationLength));
}

QStringView ApplicationId::name() const
{
    const int length = m_length - m_organisationLength - 1;
    if (m_organisationLength < 1 || length < 1)
        return {};
    return QStringView(m_text).mid(m_organisationLength + 1, length);
}

ApplicationTaskId::ApplicationTaskId(const QString &text)
    : m_text(text)
    , m_applicationIdLength(markOf(text.size()))
{
    const auto dot = text.lastIndexOf(QLatin1Char('.'));
    const auto nameStart = dot + 1 + taskPrefix().size();
    if (text.size() > longestText || dot < 1 || !behind(text, dot).startsWith(taskPrefix())
        || text.size() <= nameStart)
        return;
    m_organisationLength = organisationLengthOf(text.left(dot));
    if (m_organisationLength > 0)
        m_applicationIdLength = markOf(dot);
}

ApplicationTaskId::ApplicationTaskId(const ApplicationId &application, const QString &taskName)
    : m_text(application.toString() + QLatin1Char('.') + taskPrefix() + taskName)
    , m_organisationLength(taskName.isEmpty() || m_text.size() > longestText
                               ? qint16(-1)
                               : application.m_organisationLength)
    , m_applicationIdLength(application.m_length)
{
}

ApplicationId ApplicationTaskId::applicationId() const
{
    return ApplicationId::startOf(m_text, m_applicationIdLength, m_organisationLength);
}

QStringView ApplicationTaskId::taskName() const
{
    if (!isValid())
        return {};
    return behind(m_text, m_applicationIdLength).mid(taskPrefix().size());
}

ApplicationInstanceId::ApplicationInstanceId(const QString &text)
    : m_text(text)
    , m_applicationIdLength(markOf(text.size()))
{
    const auto dot = text.lastIndexOf(QLatin1Char('.'));
    if (text.size() > longestText || dot < 1)
        return;
    const auto length = isInstanceSuffix(behind(text, dot)) ? dot : text.size();
    m_organisationLength = organisationLengthOf(text.left(length));
    if (m_organisationLength > 0)
        m_applicationIdLength = markOf(length);
}

ApplicationInstanceId::ApplicationInstanceId(const ApplicationId &application, int number)
    : m_text(application.toString())
    , m_organisationLength(application.m_organisationLength)
    , m_applicationIdLength(application.m_length)
{
    if (number != 0)
        m_text += QStringLiteral(".%1%2").arg(instancePrefix()).arg(number);
    if (m_text.size() > longestText)
        m_organisationLength = -1;
}

ApplicationInstanceId ApplicationInstanceId::fromTaskOrInstance(const QString &text)
{
    const auto dot = text.lastIndexOf(QLatin1Char('.'));
    if (dot < 1)
        return {};
    if (!behind(text, dot).startsWith(taskPrefix()))
        return ApplicationInstanceId(text);
    const ApplicationTaskId task(text);
    ApplicationInstanceId id;
    id.m_text = text;
    id.m_organisationLength = task.m_organisationLength;
    id.m_applicationIdLength = task.m_applicationIdLength;
    return id;
}

ApplicationId ApplicationInstanceId::applicationId() const
{
    return ApplicationId::startOf(m_text, m_applicationIdLength, m_organisationLength);
}

} // namespace Core
