#include "discoverers/onvif_discoverer.h"
#include "discoverers/record_building.h"
#include "fuzz/record_properties.h"

namespace
{

using namespace Sondrix;

/// Each URL of a match has to be one word: it was told from its neighbours by white space.
void checkXaddrs(const QStringList &xaddrs)
{
    for (const QString &xaddr : xaddrs) {
        FUZZ_ASSERT(!xaddr.isEmpty() && xaddr == xaddr.simplified() && !xaddr.contains(QLatin1Char(' ')));
    }
}

void checkRecord(const OnvifProbeMatch &match)
{
    const DeviceRecord record = recordFromProbeMatch(match);
    Fuzz::checkDescribedDevice(record);
    FUZZ_ASSERT(!isBlank(record.id));
    FUZZ_ASSERT(record.endpoints.size() == (match.xaddrs.isEmpty() ? 1 : 2));
    FUZZ_ASSERT(Fuzz::hasDistinctEndpoints(record));
    FUZZ_ASSERT(Fuzz::sameButTimes(recordFromProbeMatch(match), record));
}

void checkMatch(const OnvifProbeMatch &match)
{
    FUZZ_ASSERT(!match.endpointReference.isEmpty() || !match.xaddrs.isEmpty());
    FUZZ_ASSERT(Fuzz::isTrimmed(match.endpointReference));
    FUZZ_ASSERT(Fuzz::isTrimmed(match.types));
    FUZZ_ASSERT(Fuzz::isTrimmed(match.scopes));
    checkXaddrs(match.xaddrs);
    checkRecord(match);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray datagram = Fuzz::bytesOf(data, size);
    const QList<OnvifProbeMatch> matches = parseProbeMatches(datagram);
    FUZZ_ASSERT(parseProbeMatches(datagram).size() == matches.size());
    // Entities may multiply what is read, but not without measure.
    FUZZ_ASSERT(matches.size() <= datagram.size());
    // A reply that is cut off counts for nothing.
    FUZZ_ASSERT(parseProbeMatches("<cut-off-here>" + datagram).isEmpty());

    QList<DeviceRecord> records;
    QSet<QString> seen;
    for (const OnvifProbeMatch &match : matches) {
        checkMatch(match);
        appendUnseen(recordFromProbeMatch(match), &records, &seen);
    }
    FUZZ_ASSERT(records.size() == seen.size());
    FUZZ_ASSERT(records.isEmpty() == matches.isEmpty());
    return 0;
}
