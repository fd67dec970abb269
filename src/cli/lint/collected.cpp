#include "cli/lint/collected.h"

#include <algorithm>
#include <tuple>

namespace Cli {

namespace {

auto orderOf(const Core::Finding &finding)
{
    return std::tie(finding.file, finding.line, finding.rule, finding.group, finding.key,
                    finding.text);
}

} // namespace

void Collected::report(const Core::Finding &finding, const Core::FindingOrigin &)
{
    m_all.append(finding);
}

void Collected::add(const Core::Rule &rule, const Core::FindingPlace &place, const QString &text)
{
    Core::Finding finding = findingOf(rule, place);
    finding.text = text;
    m_all.append(finding);
}

QVector<Core::Finding> Collected::sorted() const
{
    QVector<Core::Finding> findings = m_all;
    std::sort(findings.begin(), findings.end(),
              [](const auto &left, const auto &right) { return orderOf(left) < orderOf(right); });
    const auto isSame = [](const auto &left, const auto &right) {
        return orderOf(left) == orderOf(right);
    };
    findings.erase(std::unique(findings.begin(), findings.end(), isSame), findings.end());
    return findings;
}

} // namespace Cli
