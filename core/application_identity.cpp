#include "core/application_identity.h"

#include <QCoreApplication>

namespace Sondrix
{

QString applicationName()
{
    return QStringLiteral("CorvaneTVSondrix");
}

QString applicationVersion()
{
    return QStringLiteral("1.0.0");
}

QString organizationName()
{
    return QStringLiteral("Corvane");
}

QString organizationWebHost()
{
    return QStringLiteral("www.corvane.example");
}

void applyApplicationIdentity()
{
    QCoreApplication::setOrganizationName(organizationName());
    QCoreApplication::setOrganizationDomain(organizationWebHost());
    QCoreApplication::setApplicationName(applicationName());
    QCoreApplication::setApplicationVersion(applicationVersion());
}

} // namespace Sondrix
