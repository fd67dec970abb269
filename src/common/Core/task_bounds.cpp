#include "common/Core/task_bounds.h"

#include "common/Core/rules.h"

#include <QVector>

#include <algorithm>
#include <numeric>

namespace Core {

namespace {

using TaskInfo = ApplicationInfo::TaskInfo;

// Including the length field, the terminating zero and the padding.
int sizeOf(const QString &text)
{
    const bool isAscii =
        std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
    return static_cast<int>(isAscii ? text.size() : text.toUtf8().size()) + 8;
}

int sizeOf(const QStringList &texts)
{
    return std::accumulate(texts.begin(), texts.end(), 0,
                           [](int sum, const QString &text) { return sum + sizeOf(text); });
}

int sizeOf(const QList<TaskInfo> &tasks)
{
    return std::accumulate(tasks.begin(), tasks.end(), 0,
                           [](int sum, const TaskInfo &task) { return sum + Core::sizeOf(task); });
}

// Collects the tasks that are left out, for one finding about all of them.
struct LeftOut
{
    int count = 0;
    QString first;
    FindingPlace place;

    void add(const TaskInfo &task)
    {
        if (count++ > 0)
            return;
        first = task.taskId.toString().left(longestName);
        place = {task.file, task.group};
    }

private:
    static constexpr int longestName = 300;
};

} // namespace

int sizeOf(const TaskInfo &task)
{
    // Names and signatures of the properties.
    constexpr int frame = 128;
    return frame + sizeOf(task.taskId.toString()) + sizeOf(task.type) + sizeOf(task.exec)
        + sizeOf(task.permissions) + sizeOf(task.conditions);
}

void boundTasksOfApplication(QMap<QString, TaskInfo> &tasks, Findings &findings)
{
    LeftOut tooLarge;
    LeftOut withoutRoom;
    int sum = 0;
    for (auto task = tasks.begin(); task != tasks.end();) {
        const int size = sizeOf(*task);
        const bool isTooLarge = size > largestTask;
        if (!isTooLarge && sum + size <= largestTasksOfApplication) {
            sum += size;
            ++task;
            continue;
        }
        (isTooLarge ? tooLarge : withoutRoom).add(*task);
        task = tasks.erase(task);
    }
    if (tooLarge.count > 0)
        ORVANE_WARN(findings, findingOf(Rules::taskSize, tooLarge.place))
            << "Tasks that declare too much are left out:" << tooLarge.count << "of them, first"
            << tooLarge.first;
    if (withoutRoom.count > 0)
        ORVANE_WARN(findings, findingOf(Rules::tasksSize, withoutRoom.place))
            << "The tasks of the application declare too much. Left out:" << withoutRoom.count
            << "of them, first" << withoutRoom.first;
}

QList<TaskInfo> joinedWithinBounds(const QList<QList<TaskInfo>> &ofApplications, Findings &findings)
{
    QVector<int> sizes;
    for (const QList<TaskInfo> &tasks : ofApplications)
        sizes.append(sizeOf(tasks));
    QVector<int> smallestFirst(sizes.size());
    std::iota(smallestFirst.begin(), smallestFirst.end(), 0);
    std::stable_sort(smallestFirst.begin(), smallestFirst.end(),
                     [&](int a, int b) { return sizes.at(a) < sizes.at(b); });
    QVector<bool> fits(sizes.size());
    LeftOut withoutRoom;
    int sum = 0;
    for (const int index : qAsConst(smallestFirst)) {
        fits[index] = sum + sizes.at(index) <= largestTaskList;
        if (fits.at(index))
            sum += sizes.at(index);
        else
            withoutRoom.add(ofApplications.at(index).constFirst());
    }
    QList<TaskInfo> joined;
    for (int index = 0; index < ofApplications.size(); ++index) {
        if (fits.at(index))
            joined += ofApplications.at(index);
    }
    if (withoutRoom.count > 0)
        ORVANE_WARN(findings, findingOf(Rules::taskListSize, withoutRoom.place))
            << "Applications declare too many tasks of one type. Left out:" << withoutRoom.count
            << "of them, first that of" << withoutRoom.first;
    return joined;
}

} // namespace Core
