#include "discoverers/ssdp_response.h"
#include "fuzz/record_properties.h"

namespace
{

using namespace Sondrix;

void checkResponse(const SsdpResponse &response, const QByteArray &datagram)
{
    FUZZ_ASSERT(Fuzz::isTrimmed(response.statusLine));
    FUZZ_ASSERT(response.headers.size() <= datagram.count('\n'));
    for (auto it = response.headers.cbegin(); it != response.headers.cend(); ++it) {
        FUZZ_ASSERT(it.key() == normalizedText(it.key()));
        FUZZ_ASSERT(Fuzz::isTrimmed(it.value()));
        FUZZ_ASSERT(ssdpHeader(response, it.key()) == it.value());
    }

    // Neither blank lines nor the way in which lines end tell anything.
    QByteArray spaced = datagram;
    spaced.replace("\n", "\r\n \r\n");
    const SsdpResponse again = parseSsdpResponse(spaced);
    FUZZ_ASSERT(again.statusLine == response.statusLine);
    FUZZ_ASSERT(again.headers == response.headers);
}

void checkRecord(const SsdpResponse &response)
{
    const DeviceRecord record = recordFromSsdpResponse(response);
    if (!isValidSsdpResponse(response)) {
        Fuzz::checkNoDevice(record);
        return;
    }
    Fuzz::checkDescribedDevice(record);
    const bool hasLocation = !ssdpHeader(response, QStringLiteral("location")).isEmpty();
    const bool hasUsn = !ssdpHeader(response, QStringLiteral("usn")).isEmpty();
    // A search target alone says what answered, but not who.
    FUZZ_ASSERT(hasStableKey(record) == (hasLocation || hasUsn));
    FUZZ_ASSERT(record.endpoints.size() == (hasLocation ? 1 : 0));
    FUZZ_ASSERT(record.protocolData.size() == response.headers.size() + 1);
    FUZZ_ASSERT(record.mediaKinds.testFlag(MediaKind::control));
    FUZZ_ASSERT(Fuzz::sameButTimes(recordFromSsdpResponse(response), record));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray datagram = Fuzz::bytesOf(data, size);
    const SsdpResponse response = parseSsdpResponse(datagram);
    checkResponse(response, datagram);
    checkRecord(response);
    return 0;
}
