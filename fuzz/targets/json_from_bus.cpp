// Any value from the bus read as JSON: reading ends exactly at the end of the value, so that the
// next value is read correctly.

#include "common/DBus/types.h"
#include "fuzz/support/property.h"
#include "fuzz/support/random_message.h"
#include "fuzz/support/scratch.h"
#include "fuzz/support/wire.h"

#include <QDBusArgument>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    (void)Scratch::instance();
    Input input(data, size);
    const QByteArray members = randomSignature(input, 4);
    // Both values are in one structure, because the framework separates the arguments of a message.
    const QByteArray record = '(' + members + "s)";
    if (members.isEmpty() || members.size() > 200)
        return 0;
    const QVariantList arguments = Wire::instance().received(record + 's', input).arguments();
    FUZZ_PROPERTY(arguments.size() == 2, "every argument arrives");
    const auto argument = arguments.constFirst().value<QDBusArgument>();
    argument.beginStructure();
    int count = 0;
    for (; !argument.atEnd(); ++count) {
        QJsonValue value;
        argument >> value;
        if (!argument.atEnd())
            continue;
        FUZZ_PROPERTY(value.isString(), "what follows a value is read as it is");
    }
    argument.endStructure();
    FUZZ_PROPERTY(count >= 2, "every value is read once");
    return 0;
}
