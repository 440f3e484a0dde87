#include "core/device_discoverer.h"

namespace Sondrix
{

IDeviceDiscoverer::IDeviceDiscoverer(QObject *parent) : QObject(parent) {}

IDeviceDiscoverer::~IDeviceDiscoverer() = default;

} // namespace Sondrix
