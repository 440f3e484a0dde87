#include <QUrl>

#include "discoverers/ndi_discoverer.h"
#include "fuzz/record_properties.h"

namespace
{

using namespace Sondrix;

void checkRecord(const NdiSource &source)
{
    const DeviceRecord record = recordFromNdiSource(source);
    if (isBlank(source.name) && isBlank(source.urlAddress)) {
        Fuzz::checkNoDevice(record);
        return;
    }
    Fuzz::checkDescribedDevice(record);
    FUZZ_ASSERT(hasStableKey(record));
    FUZZ_ASSERT(record.id.startsWith(QLatin1String("ndi:")));
    FUZZ_ASSERT(!isBlank(record.displayName) && Fuzz::isTrimmed(record.displayName));
    FUZZ_ASSERT(record.ttlSeconds > 0);
    FUZZ_ASSERT(!isBlank(source.urlAddress) || record.hostname.isEmpty());
    FUZZ_ASSERT(Fuzz::hasDistinctEndpoints(record));

    FUZZ_ASSERT(record.endpoints.size() == 1);
    const QByteArray url = record.endpoints.first().url.toUtf8();
    const QByteArray scheme = QByteArrayLiteral("ndi://");
    FUZZ_ASSERT(url.startsWith(scheme));
    FUZZ_ASSERT(QUrl::fromPercentEncoding(url.mid(scheme.size())) == record.displayName);
    FUZZ_ASSERT(Fuzz::sameButTimes(recordFromNdiSource(source), record));
}

} // namespace

/// The input: a source's name and its address, ended by a NUL byte as the runtime's texts are.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QList<QByteArray> parts = Fuzz::bytesOf(data, size).split('\0');
    const NdiSource source{QString::fromUtf8(parts.value(0).constData()),
                           QString::fromUtf8(parts.value(1).constData())};
    checkRecord(source);
    return 0;
}
