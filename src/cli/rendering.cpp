#include "cli/rendering.h"

#include "common/places.h"

namespace Cli {

namespace {

/// Collects the findings.
class KeptFindings : public Core::Findings
{
public:
    QVector<Core::Finding> all;
    void report(const Core::Finding &finding, const Core::FindingOrigin &) override
    {
        all.append(finding);
    }
};

// The request as it arrives over the bus, where every unit setting is a text.
Core::StartRequest plannedRequest(const Client::StartRequest &asked)
{
    Core::StartRequest request;
    request.user = asked.user.value_or(QString());
    request.homeless = asked.homeless;
    request.atBoot = asked.atBoot;
    request.busName = asked.busName;
    request.permissions = asked.permissions;
    request.params = asked.params;
    request.weight = asked.weight;
    request.cpuLimit = asked.cpuLimit;
    const QVariantMap &settings = asked.unitSettings;
    for (auto it = settings.cbegin(); it != settings.cend(); ++it)
        request.unitSettings.insert(it.key(), it.value().toString());
    request.environment = asked.environment;
    return request;
}

} // namespace

Rendering render(const DeclaredTask &task, const Client::StartRequest &request,
                 const Places &places)
{
    KeptFindings findings;
    const auto [error, plan] = Core::planTask(task, plannedRequest(request), places, findings);
    return {error, plan, findings.all};
}

} // namespace Cli
