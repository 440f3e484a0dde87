#include "discoverers/nmos_discoverer.h"
#include "fuzz/record_properties.h"

namespace
{

using namespace Sondrix;

/// The order of the resources in an input; after them may stand the seed of the configuration.
enum Part { selfPart, devicesPart, sourcesPart, flowsPart, sendersPart, receiversPart, seedPart };

QString textAt(const QJsonObject &object, const QString &key)
{
    return object.value(key).toString();
}

QUrl baseUrlOf(const QList<QByteArray> &parts)
{
    return QUrl::fromUserInput(parts.size() > seedPart
                                   ? QString::fromUtf8(parts.at(seedPart))
                                   : QStringLiteral("http://192.0.2.20:8080/x-nmos/node/v1.3/"));
}

NmosNodeSnapshot snapshotOf(const QUrl &base, const QJsonObject &self, const QList<QByteArray> &parts)
{
    const auto list = [&parts](Part part) { return QJsonDocument::fromJson(parts.value(part)).array(); };
    NmosNodeSnapshot snapshot;
    snapshot.baseUrl = base;
    snapshot.version = nodeApiVersion(base);
    snapshot.self = self;
    snapshot.devices = list(devicesPart);
    snapshot.sources = list(sourcesPart);
    snapshot.flows = list(flowsPart);
    snapshot.senders = list(sendersPart);
    snapshot.receivers = list(receiversPart);
    return snapshot;
}

/// The ids of the resources that have one, in order.
QStringList idsOf(const QJsonArray &resources)
{
    QStringList ids;
    for (const QJsonValue &resource : resources) {
        const QString id = textAt(resource.toObject(), QStringLiteral("id"));
        if (!id.isEmpty()) {
            ids.append(id);
        }
    }
    return ids;
}

/// Follows the ids from a sender to its flow and from that to its source.
void checkSenderMetadata(const EndpointRecord &endpoint, const NmosNodeSnapshot &snapshot)
{
    const QJsonObject sender =
        QJsonObject::fromVariantMap(endpoint.metadata.value(QStringLiteral("resource")).toMap());
    FUZZ_ASSERT(textAt(sender, QStringLiteral("id")) == endpoint.id);
    const QJsonObject flow = findById(snapshot.flows, textAt(sender, QStringLiteral("flow_id")));
    const QJsonObject source = findById(snapshot.sources, textAt(flow, QStringLiteral("source_id")));
    FUZZ_ASSERT(endpoint.metadata == endpointMetadata(sender, flow, source));
    FUZZ_ASSERT(endpoint.mediaKinds == mediaKindsFromFormat(textAt(flow, QStringLiteral("format"))));
}

void checkEndpoints(const DeviceRecord &record, const NmosNodeSnapshot &snapshot)
{
    const QStringList senders = idsOf(snapshot.senders);
    const QStringList ids = senders + idsOf(snapshot.receivers);
    FUZZ_ASSERT(record.endpoints.size() == ids.size());
    Direction direction = ids.isEmpty() ? Direction::controlOnly : Direction::unknown;
    for (int i = 0; i < ids.size(); ++i) {
        const EndpointRecord &endpoint = record.endpoints.at(i);
        FUZZ_ASSERT(endpoint.id == ids.at(i));
        FUZZ_ASSERT(endpoint.direction == (i < senders.size() ? Direction::input : Direction::output));
        FUZZ_ASSERT(endpoint.mediaKinds.testFlag(MediaKind::control));
        if (i < senders.size()) {
            checkSenderMetadata(endpoint, snapshot);
        }
        direction = mergeDirection(direction, endpoint.direction);
    }
    FUZZ_ASSERT(record.direction == direction);
}

} // namespace

/// The input: the six resources of one node, as the walk fetches them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QList<QByteArray> parts = Fuzz::bytesOf(data, size).split(Fuzz::partSeparator);
    const QUrl base = baseUrlOf(parts);
    FUZZ_ASSERT(!nodeApiVersion(base).isEmpty());
    FUZZ_ASSERT(!trimmedBaseUrl(base).endsWith(QLatin1Char('/')));

    const QJsonDocument self = QJsonDocument::fromJson(parts.value(selfPart));
    if (!self.isObject()) {
        return 0;
    }
    const NmosNodeSnapshot snapshot = snapshotOf(base, self.object(), parts);
    const DeviceRecord record = recordFromNmosNode(snapshot);
    Fuzz::checkDescribedDevice(record);
    checkEndpoints(record, snapshot);
    FUZZ_ASSERT(record.mediaKinds.testFlag(MediaKind::control));
    FUZZ_ASSERT(Fuzz::sameButTimes(recordFromNmosNode(snapshot), record));
    return 0;
}
