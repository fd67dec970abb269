#include "common/Core/rules.h"

namespace Core {

Finding findingOf(const Rule &rule, const FindingPlace &place)
{
    return {rule.severity,
            QString::fromLatin1(rule.id),
            place.file,
            place.line,
            place.group,
            place.key,
            {}};
}

} // namespace Core
