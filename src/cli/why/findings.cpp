#include "cli/why/findings.h"

#include "cli/lint/rules.h"
#include "cli/words.h"

#include <algorithm>

namespace Cli {

const Core::Finding *firstOf(const QVector<Core::Finding> &findings,
                             const QVector<const Core::Rule *> &rules)
{
    for (const Core::Rule *rule : rules) {
        const auto found =
            std::find_if(findings.begin(), findings.end(), [rule](const Core::Finding &finding) {
                return finding.rule == QLatin1String(rule->id);
            });
        if (found != findings.end())
            return &*found;
    }
    return nullptr;
}

QString evidenceOf(const Core::Finding &finding)
{
    return QStringLiteral("%1: %2").arg(placeOf(finding.file, finding.line), finding.text);
}

Gate shutBy(const QString &gate, const Core::Finding &finding, const QString &cure)
{
    const LintRule *rule = lintRule(finding.rule);
    const QString consequence = rule == nullptr
        ? QString()
        : QStringLiteral("%1 %2").arg(QString::fromLatin1(rule->rule->sentence),
                                      QString::fromLatin1(rule->instead));
    return {gate, Gate::No, evidenceOf(finding), consequence, cure};
}

} // namespace Cli
