#include "common/Core/findings.h"

#include <utility>

namespace Core {

LoggedFindings &LoggedFindings::instance()
{
    static LoggedFindings findings;
    return findings;
}

void LoggedFindings::report(const Finding &finding, const FindingOrigin &origin)
{
    if (origin.type == QtInfoMsg)
        return;
    const QMessageLogger logger(origin.file, origin.line, origin.function);
    if (origin.type == QtDebugMsg)
        logger.debug().noquote() << finding.text;
    else
        logger.warning().noquote() << finding.text;
}

FindingStream::FindingStream(Findings &findings, Finding finding, const FindingOrigin &origin)
    : m_findings(findings)
    , m_finding(std::move(finding))
    , m_origin(origin)
    , m_stream(&m_finding.text)
{
}

FindingStream::~FindingStream()
{
    // Qt's own log streams drop the trailing space, too.
    if (m_finding.text.endsWith(QLatin1Char(' ')))
        m_finding.text.chop(1);
    m_findings.report(m_finding, m_origin);
}

} // namespace Core
