#pragma once

#include <QDebug>
#include <QMessageLogger>
#include <QString>

namespace Core {

/// What a reader or the planner has to say of somebody's file or request. A plain value.
struct Finding
{
    enum Severity {
        /// Worth knowing; everything works as declared.
        Note,
        /// Something is ignored or read otherwise than its author may have meant.
        Warning,
        /// What was declared does not work.
        Error
    };

    Severity severity = Warning;
    /// Stable name of the rule, for example "task-name".
    QString rule;
    /// The file, the line in it from 1 on (0: not known), and the group and key that are meant;
    /// each empty where it does not apply.
    QString file;
    int line = 0;
    QString group;
    QString key;
    /// One line for a person: the words of the daemon's log.
    QString text;
};

/// Where a finding was made in this program, for a log line.
struct FindingOrigin
{
    const char *file;
    int line;
    const char *function;
    /// QtDebugMsg or QtWarningMsg for what the daemon logs, QtInfoMsg for what it keeps silent
    /// about.
    QtMsgType type;
};

/// Takes findings: the daemon's sink logs them, a tool's collects them. Event-loop thread only.
class Findings
{
public:
    virtual ~Findings() = default;
    virtual void report(const Finding &finding, const FindingOrigin &origin) = 0;
};

/// Logs each finding's text as qWarning() or qDebug() would have at the place where it was made.
/// What the daemon keeps silent about is not logged.
class LoggedFindings : public Findings
{
public:
    /// The one that the daemon hands down.
    static LoggedFindings &instance();
    void report(const Finding &finding, const FindingOrigin &origin) override;
};

/// One finding in the making: a stream of its text, reported when the statement ends.
class FindingStream
{
public:
    FindingStream(Findings &findings, Finding finding, const FindingOrigin &origin);
    ~FindingStream();
    Q_DISABLE_COPY(FindingStream)

    template <typename Value>
    FindingStream &operator<<(const Value &value)
    {
        m_stream << value;
        return *this;
    }

private:
    Findings &m_findings;
    Finding m_finding;
    const FindingOrigin m_origin;
    QDebug m_stream;
};

} // namespace Core

/// ORVANE_WARN(findings, finding) << "Invalid task name:" << name; reports a finding whose text is
/// what qWarning() would log. `finding` is a Core::Finding without a text.
#define ORVANE_WARN(findings, ...)                                                                 \
    Core::FindingStream(                                                                           \
        findings, __VA_ARGS__,                                                                     \
        {QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC, QtWarningMsg})

/// The same for what the daemon logs at debug level.
#define ORVANE_MENTION(findings, ...)                                                              \
    Core::FindingStream(findings, __VA_ARGS__,                                                     \
                        {QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC, QtDebugMsg})

/// The same for what the daemon keeps silent about and a tool tells.
#define ORVANE_REMARK(findings, ...)                                                               \
    Core::FindingStream(findings, __VA_ARGS__,                                                     \
                        {QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC, QtInfoMsg})
