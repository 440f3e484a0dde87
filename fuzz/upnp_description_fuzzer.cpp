#include "discoverers/upnp_dlna_discoverer.h"
#include "fuzz/record_properties.h"

namespace
{

using namespace Sondrix;

constexpr int maxGrowth = 16;

/// Each field as text; the lists keep the places of their elements.
QStringList fieldsOf(const UpnpDescription &description)
{
    return QStringList{description.deviceType,     description.friendlyName, description.manufacturer,
                       description.modelName,      description.serialNumber, description.udn,
                       description.presentationUrl} +
           description.serviceTypes + description.controlUrls;
}

void checkDescription(const UpnpDescription &description, const QByteArray &xml)
{
    const QStringList fields = fieldsOf(description);
    for (const QString &field : fields) {
        FUZZ_ASSERT(Fuzz::isTrimmed(field));
    }
    // Entities may lengthen what is read, but not without measure.
    FUZZ_ASSERT(fields.join(QString()).size() <= maxGrowth * xml.size());
    FUZZ_ASSERT(description.serviceTypes.size() + description.controlUrls.size() <= xml.size());
    FUZZ_ASSERT(!description.serviceTypes.contains(QString()));
    FUZZ_ASSERT(!description.controlUrls.contains(QString()));
    FUZZ_ASSERT(fieldsOf(parseUpnpDescription(xml)) == fields);
    // An element that never closes takes the whole description with it.
    FUZZ_ASSERT(fieldsOf(parseUpnpDescription("<cut-off-here>" + xml)) == fieldsOf(UpnpDescription()));
}

void checkRecord(const UpnpDescription &description, const QUrl &location)
{
    const DeviceRecord record = recordFromUpnpDescription(description, location);
    if (description.deviceType.isEmpty() && description.friendlyName.isEmpty() && description.udn.isEmpty()) {
        Fuzz::checkNoDevice(record);
        return;
    }
    Fuzz::checkDescribedDevice(record);
    FUZZ_ASSERT(!isBlank(record.id));
    FUZZ_ASSERT(primaryEndpointUrl(record) == location.toString().trimmed());
    const int webEndpoints = description.presentationUrl.isEmpty() ? 0 : 1;
    FUZZ_ASSERT(record.endpoints.size() == 1 + webEndpoints + description.controlUrls.size());
    FUZZ_ASSERT(Fuzz::hasDistinctEndpoints(record));
    FUZZ_ASSERT(Fuzz::sameButTimes(recordFromUpnpDescription(description, location), record));
}

} // namespace

/// The input: the LOCATION that an answer gave, and the description that was fetched there.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QList<QByteArray> parts = Fuzz::bytesOf(data, size).split(Fuzz::partSeparator);
    const QByteArray xml = parts.value(1);
    const UpnpDescription description = parseUpnpDescription(xml);
    checkDescription(description, xml);

    const QUrl location(QString::fromUtf8(parts.value(0)).trimmed(), QUrl::TolerantMode);
    // Nothing is fetched from elsewhere.
    if (location.isValid() && location.scheme().startsWith(QLatin1String("http"))) {
        checkRecord(description, location);
    }
    return 0;
}
