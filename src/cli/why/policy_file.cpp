#include "cli/why/policy_file.h"

#include "files/foreign_file.h"

#include <QFileInfo>
#include <QXmlStreamReader>

namespace Cli {

namespace {

void read(QXmlStreamReader &xml, PolicyFile &policy)
{
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QXmlStreamAttributes attributes = xml.attributes();
        if (attributes.hasAttribute(QLatin1String("user")))
            policy.user = attributes.value(QLatin1String("user")).toString();
        if (attributes.hasAttribute(QLatin1String("own")))
            policy.busName = attributes.value(QLatin1String("own")).toString();
    }
    if (xml.hasError())
        policy.problem = QStringLiteral("line %1: %2").arg(xml.lineNumber()).arg(xml.errorString());
    else if (policy.busName.isEmpty() || policy.user.isEmpty())
        policy.problem = QStringLiteral("it lets no user own a name");
}

} // namespace

PolicyFile readPolicyFile(const QString &path)
{
    PolicyFile policy;
    policy.path = path;
    const QFileInfo file(path);
    const ForeignFile content = readForeignFile(path);
    policy.exists = content.state != ForeignFile::Missing;
    policy.isReadable = file.permission(QFileDevice::ReadOther);
    if (content.state == ForeignFile::Read) {
        QXmlStreamReader xml(content.text);
        read(xml, policy);
    } else {
        policy.problem = content.reason;
    }
    return policy;
}

} // namespace Cli
