#include "common/Core/text_pool.h"

#include <algorithm>

namespace Core {

template <typename Value>
void TextPool::LastValues<Value>::share(Value &value)
{
    constexpr int most = 16;
    const auto known = std::find(values.constBegin(), values.constEnd(), value);
    if (known != values.constEnd()) {
        value = *known;
    } else if (values.size() < most) {
        values.append(value);
    } else {
        values[oldest] = value;
        oldest = (oldest + 1) % most;
    }
}

void TextPool::share(ApplicationInfo::TaskInfo &task)
{
    m_types.share(task.type);
    m_groups.share(task.group);
    m_permissions.share(task.permissions);
    m_conditions.share(task.conditions);
}

} // namespace Core
