#include "cli/gate.h"

#include <QJsonObject>

#include <algorithm>

namespace Cli {

namespace {

// Wide enough for "no", "yes" and "?".
constexpr int answerWidth = 5;
constexpr int gap = 2;

QString signOf(Gate::Answer answer)
{
    switch (answer) {
    case Gate::Yes:
        return QStringLiteral("yes");
    case Gate::No:
        return QStringLiteral("no");
    case Gate::NotKnown:
        break;
    }
    return QStringLiteral("?");
}

Output::Colour colourOf(Gate::Answer answer)
{
    switch (answer) {
    case Gate::Yes:
        return Output::Colour::Green;
    case Gate::No:
        return Output::Colour::Red;
    case Gate::NotKnown:
        break;
    }
    return Output::Colour::Yellow;
}

int widestName(const QVector<Gate> &gates)
{
    int widest = 0;
    for (const Gate &gate : gates)
        widest = std::max(widest, static_cast<int>(gate.name.size()));
    return widest;
}

// The indentation of a gate's texts: after its name, or below it if a path does not fit there.
int indentationOf(const Gate &gate, int nameWidth, int width)
{
    const int afterTheName = answerWidth + nameWidth + gap;
    const QStringList lines = wrapped(printable(gate.evidence), afterTheName, width);
    const bool fits = std::all_of(lines.begin(), lines.end(), [width](const QString &line) {
        return width == 0 || displayWidth(line) <= width;
    });
    return fits ? afterTheName : answerWidth;
}

QStringList linesOf(const Gate &gate, int nameWidth, const Output &output)
{
    const int width = output.terminal().width;
    const int indentation = indentationOf(gate, nameWidth, width);
    const QString sign = signOf(gate.answer);
    const QString title = output.coloured(sign, colourOf(gate.answer))
        + QString(answerWidth - sign.size(), QLatin1Char(' ')) + gate.name;
    QStringList lines = wrapped(printable(gate.evidence), indentation, width);
    if (indentation == answerWidth)
        lines.prepend(title);
    else
        lines.first().replace(
            0, indentation, title + QString(nameWidth + gap - gate.name.size(), QLatin1Char(' ')));
    if (gate.answer == Gate::Yes)
        return lines;
    if (!gate.consequence.isEmpty())
        lines += wrapped(printable(gate.consequence), indentation, width);
    // A command is not wrapped, so that it can be copied.
    if (!gate.cure.isEmpty())
        lines += wrapped(QStringLiteral("try: ") + printable(gate.cure), indentation, 0);
    return lines;
}

QJsonObject objectOf(const Gate &gate)
{
    QJsonObject object{
        {QStringLiteral("gate"), gate.name},
        {QStringLiteral("answer"),
         gate.answer == Gate::NotKnown ? QStringLiteral("unknown") : signOf(gate.answer)},
        {QStringLiteral("evidence"), gate.evidence}};
    if (!gate.consequence.isEmpty())
        object.insert(QStringLiteral("consequence"), gate.consequence);
    if (!gate.cure.isEmpty())
        object.insert(QStringLiteral("cure"), gate.cure);
    return object;
}

} // namespace

QStringList linesOf(const QVector<Gate> &gates, const Output &output)
{
    const int nameWidth = widestName(gates);
    QStringList lines;
    for (const Gate &gate : gates)
        lines += linesOf(gate, nameWidth, output);
    return lines;
}

QJsonArray objectsOf(const QVector<Gate> &gates)
{
    QJsonArray objects;
    for (const Gate &gate : gates)
        objects.append(objectOf(gate));
    return objects;
}

const Gate *firstShut(const QVector<Gate> &gates)
{
    const auto shut = std::find_if(gates.cbegin(), gates.cend(),
                                   [](const Gate &gate) { return gate.answer == Gate::No; });
    return shut == gates.cend() ? nullptr : &*shut;
}

} // namespace Cli
