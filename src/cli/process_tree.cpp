#include "cli/process_tree.h"

#include <QList>
#include <QSet>

#include <algorithm>

namespace Cli {

namespace {

/// Walks from the processes whose parent is not in the unit down to their children.
class Walk
{
public:
    explicit Walk(const QVector<UnitProcess> &processes)
        : m_processes(processes)
    {
    }
    void below(int parent, int depth)
    {
        for (const UnitProcess &process : m_processes) {
            if (process.parent == parent)
                visit(process, depth);
        }
    }
    void visit(const UnitProcess &process, int depth)
    {
        // The data was not read at a single moment and process ids are reused, so it may contain a
        // cycle.
        if (m_seen.contains(process.pid))
            return;
        m_seen.insert(process.pid);
        tree.append({process, depth});
        below(process.pid, depth + 1);
    }

    QVector<TreeProcess> tree;

private:
    const QVector<UnitProcess> &m_processes;
    QSet<int> m_seen;
};

} // namespace

QVector<TreeProcess> processTree(QVector<UnitProcess> processes)
{
    std::sort(processes.begin(), processes.end(),
              [](const UnitProcess &a, const UnitProcess &b) { return a.pid < b.pid; });
    QSet<int> pids;
    for (const UnitProcess &process : qAsConst(processes))
        pids.insert(process.pid);
    Walk walk(processes);
    for (const UnitProcess &process : qAsConst(processes)) {
        if (!pids.contains(process.parent))
            walk.visit(process, 0);
    }
    // Processes in a cycle are not reached from above.
    for (const UnitProcess &process : qAsConst(processes))
        walk.visit(process, 0);
    return walk.tree;
}

} // namespace Cli
