#include "discoverers/sap_aes67_discoverer.h"
#include "fuzz/record_properties.h"

namespace
{

using namespace Sondrix;

void checkSession(const SapSession &session)
{
    FUZZ_ASSERT(session.port >= 0);
    FUZZ_ASSERT(Fuzz::isTrimmed(session.sessionName));
    FUZZ_ASSERT(Fuzz::isTrimmed(session.origin));
    FUZZ_ASSERT(session.connectionAddress == session.connectionAddress.simplified());
    FUZZ_ASSERT(!session.connectionAddress.contains(QLatin1Char(' ')));
    FUZZ_ASSERT(!session.connectionAddress.contains(QLatin1Char('/')));
    FUZZ_ASSERT(!session.codec.contains(QLatin1Char('/')));
}

void checkRecord(const QByteArray &sdp, const SapSession &session)
{
    const DeviceRecord record = recordFromSapAnnouncement(sdp);
    if (session.connectionAddress.isEmpty() || session.port < 1) {
        Fuzz::checkNoDevice(record);
        return;
    }
    Fuzz::checkDescribedDevice(record);
    FUZZ_ASSERT(record.id == sapSessionId(session));
    FUZZ_ASSERT(!isBlank(record.displayName));
    FUZZ_ASSERT(record.ttlSeconds > 0);
    FUZZ_ASSERT(record.endpoints.size() == 1);
    FUZZ_ASSERT(Fuzz::hasDistinctEndpoints(record));
    FUZZ_ASSERT(Fuzz::sameButTimes(recordFromSapAnnouncement(sdp), record));

    // The same session, announced with other line ends.
    QByteArray otherEnds = sdp;
    otherEnds.replace("\n", "\r\n\r\n");
    FUZZ_ASSERT(recordFromSapAnnouncement(otherEnds).id == record.id);
}

} // namespace

/// The input is a whole announcement: the session description stands behind a header that is skipped.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray datagram = Fuzz::bytesOf(data, size);
    const int begin = datagram.indexOf("v=0");
    if (begin >= 0) {
        const QByteArray sdp = datagram.mid(begin);
        const SapSession session = parseSdpSession(sdp);
        checkSession(session);
        checkRecord(sdp, session);
    }
    return 0;
}
