// The stand-in for the per-user service as a program, for the container. It answers every call with
// the call's own arguments, but a Start without an application id with an error, as the real
// service does. It prints the member and the first argument of each call.

#include "fakes/fake_user_service.h"
#include "support/literals.h"

#include <QCoreApplication>
#include <QDBusError>

#include <cstdio>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    FakeUserService service(QDBusConnection::systemBus());
    service.answer = [](const QDBusMessage &call) {
        const QString first = call.arguments().value(0).toString();
        std::printf("%s %s\n", qPrintable(call.member()), qPrintable(first));
        std::fflush(stdout);
        if (call.member() == QLatin1String("Start") && first.isEmpty())
            return call.createErrorReply(QDBusError::InvalidArgs, u"No application"_s);
        return call.createReply(call.arguments());
    };
    return QCoreApplication::exec();
}
