#pragma once

#include <QString>

namespace Sondrix
{

/// The program's name, as the report, the window title and the system know it.
QString applicationName();

/// The program's version, major.minor.patch.
QString applicationVersion();

/// The maker's name.
QString organizationName();

/// The maker's web host, without a scheme.
QString organizationWebHost();

/// Gives organisation, domain, name and version to QCoreApplication.
void applyApplicationIdentity();

} // namespace Sondrix
