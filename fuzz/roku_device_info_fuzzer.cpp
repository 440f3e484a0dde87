#include <QUrl>

#include "discoverers/roku_discoverer.h"
#include "fuzz/record_properties.h"

namespace
{

using namespace Sondrix;

constexpr int highestPort = 65535;

QStringList fieldsOf(const RokuDeviceInfo &info)
{
    return {info.friendlyDeviceName, info.modelName, info.serialNumber, info.deviceId, info.softwareVersion};
}

void checkInfo(const RokuDeviceInfo &info, const QByteArray &xml)
{
    const QStringList fields = fieldsOf(info);
    for (const QString &field : fields) {
        FUZZ_ASSERT(Fuzz::isTrimmed(field));
    }
    FUZZ_ASSERT(fieldsOf(parseRokuDeviceInfo(xml)) == fields);
    // An element that never closes takes the whole information with it.
    FUZZ_ASSERT(fieldsOf(parseRokuDeviceInfo("<cut-off-here>" + xml)) == fieldsOf(RokuDeviceInfo()));
}

/// The port at the end of what stands before the query of the cast URL.
int castPort(const DeviceRecord &record)
{
    const QString url = record.endpoints.last().url;
    const QString query = QStringLiteral("?type=roku");
    FUZZ_ASSERT(url.startsWith(QLatin1String("cast://")) && url.endsWith(query));
    bool isNumber = false;
    const int port = url.chopped(query.size()).section(QLatin1Char(':'), -1).toInt(&isNumber);
    FUZZ_ASSERT(isNumber);
    return port;
}

void checkRecord(const RokuDeviceInfo &info, const QUrl &location, const SsdpResponse &answer)
{
    const DeviceRecord record = recordFromRoku(info, location, answer);
    Fuzz::checkDescribedDevice(record);
    // Who answered is known by its answer, whatever it says over HTTP.
    FUZZ_ASSERT(hasStableKey(record));
    FUZZ_ASSERT(record.vendor == QLatin1String("Roku"));
    FUZZ_ASSERT(record.endpoints.size() == 2);
    const int port = castPort(record);
    FUZZ_ASSERT(port >= 0 && port <= highestPort);
    FUZZ_ASSERT(Fuzz::sameButTimes(recordFromRoku(info, location, answer), record));
    if (!isBlank(info.deviceId)) {
        FUZZ_ASSERT(record.id == info.deviceId);
    }
}

} // namespace

/// The input: a player's answer to the search, and the device information that it gave over HTTP.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QList<QByteArray> parts = Fuzz::bytesOf(data, size).split(Fuzz::partSeparator);
    const QByteArray xml = parts.value(1);
    const RokuDeviceInfo info = parseRokuDeviceInfo(xml);
    checkInfo(info, xml);

    const SsdpResponse answer = parseSsdpResponse(parts.value(0));
    const QUrl location(ssdpHeader(answer, QStringLiteral("location")), QUrl::TolerantMode);
    if (isValidSsdpResponse(answer) && location.isValid()) {
        checkRecord(info, location, answer);
    }
    return 0;
}
