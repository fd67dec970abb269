#pragma once

#include "common/Core/application_info.h"

#include <QString>
#include <QStringList>
#include <QVector>

namespace Core {

/// Makes equal texts of tasks one copy in memory, because most applications declare the same few
/// types, permissions and conditions. A value; one thread at a time.
class TextPool
{
public:
    /// Replaces the texts of a task that other tasks often have too by equal ones of earlier tasks.
    void share(ApplicationInfo::TaskInfo &task);

private:
    /// The last different values of one key. A search in a few is faster than a hash of each.
    template <typename Value>
    struct LastValues
    {
        void share(Value &value);

        QVector<Value> values;
        /// Where the next value is put once there is no more room.
        int oldest = 0;
    };

    LastValues<QString> m_types;
    LastValues<QString> m_groups;
    LastValues<QStringList> m_permissions;
    LastValues<QStringList> m_conditions;
};

} // namespace Core
