// The stand-in for the per-user service as a program, for the container: answers every call with
// its own arguments, and fails a Start without an application id as the real one would. Each call
// is a line of member and first argument on standard output.

#include "fakes/fake_user_service.h"

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
            return call.createErrorReply(QDBusError::InvalidArgs, QStringLiteral("No application"));
        return call.createReply(call.arguments());
    };
    return QCoreApplication::exec();
}
