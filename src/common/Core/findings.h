#pragma once

#include <QDebug>
#include <QMessageLogger>
#include <QString>

namespace Core {

/// A problem or a remark about a file or a request, made by a reader or the planner. A plain value.
struct Finding
{
    enum Severity {
        /// For information; everything works as declared.
        Note,
        /// Something is ignored, or is read in a way that its author may not have meant.
        Warning,
        /// What was declared does not work.
        Error
    };

    Severity severity = Warning;
    /// Stable name of the rule, for example "task-name".
    QString rule;
    /// The file, the line (from 1; 0 when not known), the group and the key; empty where it does
    /// not apply.
    QString file;
    int line = 0;
    QString group;
    QString key;
    /// One line for a person, as the daemon logs it.
    QString text;
};

/// The place in the source where a finding was made, for the log line.
struct FindingOrigin
{
    const char *file;
    int line;
    const char *function;
    /// The level at which the daemon logs the finding: QtDebugMsg or QtWarningMsg. QtInfoMsg: the
    /// daemon does not log it.
    QtMsgType type;
};

/// Receives findings: the daemon's implementation logs them, the tool's collects them. Event-loop
/// thread only.
class Findings
{
public:
    virtual ~Findings() = default;
    /// Receives one finding.
    /// @param origin where in the source it was made.
    virtual void report(const Finding &finding, const FindingOrigin &origin) = 0;
};

/// Logs each finding's text as qWarning() or qDebug() would at the place where the finding was
/// made. Findings of QtInfoMsg are not logged.
class LoggedFindings : public Findings
{
public:
    /// The instance that the daemon passes to its readers.
    static LoggedFindings &instance();
    void report(const Finding &finding, const FindingOrigin &origin) override;
};

/// Builds the text of a finding as a stream; reports the finding when it is destroyed, which is at
/// the end of the statement. Made by the macros below.
class FindingStream
{
public:
    /// @param findings receives the finding; has to outlive this object.
    /// @param finding the finding, without its text.
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

/// The same for a finding that only the tool reports; the daemon does not log it.
#define ORVANE_REMARK(findings, ...)                                                               \
    Core::FindingStream(findings, __VA_ARGS__,                                                     \
                        {QT_MESSAGELOG_FILE, QT_MESSAGELOG_LINE, QT_MESSAGELOG_FUNC, QtInfoMsg})
