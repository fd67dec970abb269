// A bus name and a user, as the fields DBusService and User of a start: when the planner accepts
// them, the file is well-formed XML with exactly two policies, one that lets this user own the name
// and one that lets everybody send to it.

#include "fuzz/support/property.h"
#include "fuzz/support/requested_start.h"
#include "fuzz/support/scratch.h"
#include "plan/task_plan.h"

#include <QXmlStreamReader>

namespace {

using Element = QPair<QString, QXmlStreamAttributes>;

QVector<Element> elementsOf(const QByteArray &xml)
{
    QVector<Element> elements;
    QXmlStreamReader reader(xml);
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::StartElement)
            elements.append({reader.name().toString(), reader.attributes()});
        FUZZ_PROPERTY(token != QXmlStreamReader::Characters || reader.isWhitespace(),
                      "a policy has no text");
    }
    FUZZ_PROPERTY(!reader.hasError(), "a policy is well-formed");
    return elements;
}

bool isElement(const Element &element, const char *name, const char *attribute,
               const QString &value)
{
    return element.first == QLatin1String(name) && element.second.size() == 1
        && element.second.hasAttribute(QLatin1String(attribute))
        && element.second.value(QLatin1String(attribute)) == value;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const RequestedStart start(Input(data, size));
    NoFindings none;
    const auto [error, plan] =
        Core::planTask(start.task, start.request, Scratch::instance().places(), none);
    FUZZ_PROPERTY(error || plan.policy.has_value() == start.request.busName.has_value(),
                  "who asks for a name gets a policy");
    if (error || !plan.policy)
        return 0;
    const QString &name = *start.request.busName;
    const QVector<Element> elements = elementsOf(*plan.policy);
    FUZZ_PROPERTY(elements.size() == 5 && elements.at(0).first == QLatin1String("busconfig")
                      && elements.at(0).second.isEmpty(),
                  "a policy has two policies of one rule each");
    FUZZ_PROPERTY(isElement(elements.at(1), "policy", "user", start.request.user),
                  "the first policy is the user's");
    FUZZ_PROPERTY(isElement(elements.at(2), "allow", "own", name), "the user may own the name");
    FUZZ_PROPERTY(isElement(elements.at(3), "policy", "context", QStringLiteral("default")),
                  "the second policy is everybody's");
    FUZZ_PROPERTY(isElement(elements.at(4), "allow", "send_destination", name),
                  "everybody may send to the name");
    return 0;
}
