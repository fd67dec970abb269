#include "cli/lint/near_word.h"

#include <QVector>

#include <algorithm>
#include <numeric>

namespace Cli {

namespace {

int distanceOf(const QString &from, const QString &to)
{
    QVector<int> row(to.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (int i = 0; i < from.size(); ++i) {
        int diagonal = row.at(0);
        row[0] = i + 1;
        for (int j = 0; j < to.size(); ++j) {
            const int changed = diagonal + (from.at(i) == to.at(j) ? 0 : 1);
            diagonal = row.at(j + 1);
            row[j + 1] = std::min({changed, row.at(j) + 1, diagonal + 1});
        }
    }
    return row.constLast();
}

} // namespace

QString nearWord(const QString &written, const QStringList &words, int farthest)
{
    QString nearest;
    int distance = farthest + 1;
    for (const QString &word : words) {
        if (qAbs(word.size() - written.size()) > farthest)
            continue;
        const int found = distanceOf(written.toLower(), word.toLower());
        if (found < distance) {
            distance = found;
            nearest = word;
        }
    }
    return nearest;
}

} // namespace Cli
