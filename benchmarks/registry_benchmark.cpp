#include <QJsonDocument>
#include <benchmark/benchmark.h>

#include "app/scan_report.h"
#include "core/device_registry.h"
#include "core/discovery_manager.h"

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::Direction;
using Sondrix::EndpointRecord;
using Sondrix::MediaKind;

namespace
{

EndpointRecord endpoint(const QString &deviceId, int index, const QString &host, const QDateTime &now)
{
    EndpointRecord endpoint;
    endpoint.id = deviceId + QStringLiteral(":endpoint-") + QString::number(index);
    endpoint.label = QStringLiteral("Stream %1").arg(index + 1);
    endpoint.protocol = QStringLiteral("rtsp");
    endpoint.url = QStringLiteral("rtsp://") + host + QStringLiteral(":554/stream/") + QString::number(index);
    endpoint.direction = Direction::input;
    endpoint.mediaKinds = MediaKind::audio | MediaKind::video;
    endpoint.transport = QStringLiteral("TCP");
    endpoint.metadata.insert(QStringLiteral("path"), QStringLiteral("/stream"));
    endpoint.metadata.insert(QStringLiteral("port"), 554);
    endpoint.lastSeen = now;
    return endpoint;
}

/// Devices as a large studio has them: like names of a few vendors, every third with a serial.
QList<DeviceRecord> distinctDevices(int count, int endpointsEach)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QList<DeviceRecord> records;
    for (int i = 0; i < count; ++i) {
        const QString number = QStringLiteral("%1").arg(i, 5, 10, QLatin1Char('0'));
        DeviceRecord record;
        record.id = QStringLiteral("uuid:4D696E69-444C-164E-9D41-B827EB") + number;
        record.displayName = QStringLiteral("Camera ") + number;
        record.vendor = QStringLiteral("Vendor %1").arg(i % 7);
        record.model = QStringLiteral("Model %1").arg(i % 31);
        record.serial = i % 3 == 0 ? QString(QStringLiteral("SN-") + number) : QString();
        record.firmware = QStringLiteral("2.4.1");
        record.hostname = QStringLiteral("Studio-Camera-") + number + QStringLiteral(".local");
        record.addresses =
            QStringList{QStringLiteral("10.%1.%2.%3").arg(i / 62500).arg(i / 250 % 250).arg(i % 250)};
        record.provider = QStringLiteral("mdns");
        record.protocol = QStringLiteral("rtsp");
        record.direction = Direction::input;
        record.mediaKinds = MediaKind::audio | MediaKind::video;
        record.protocolData = QJsonObject{
            {QStringLiteral("mdns.name"), record.displayName},
            {QStringLiteral("mdns.type"), QStringLiteral("_rtsp._tcp.local.")},
            {QStringLiteral("mdns.port"), 554},
        };
        record.ttlSeconds = 120;
        record.firstSeen = now;
        record.lastSeen = now;
        record.lastChanged = now;
        // Without a fixed number the devices have one or two.
        const int endpoints = endpointsEach > 0 ? endpointsEach : 1 + i % 2;
        for (int e = 0; e < endpoints; ++e) {
            record.endpoints.append(endpoint(record.id, e, record.hostname, now));
        }
        records.append(record);
    }
    return records;
}

void fill(DeviceRegistry &registry, const QList<DeviceRecord> &records)
{
    for (const DeviceRecord &record : records) {
        registry.addOrUpdate(record);
    }
}

/// The time of one iteration is that of all inserts together.
void insertDistinctDevices(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    const QList<DeviceRecord> records = distinctDevices(count, 0);
    for (auto _ : state) {
        DeviceRegistry registry;
        fill(registry, records);
        if (registry.records().size() != count) {
            state.SkipWithError("devices were taken for one another");
        }
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(insertDistinctDevices)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

/// The time of one iteration is that of one update.
void updateUnchangedDevice(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    const QList<DeviceRecord> records = distinctDevices(count, 4);
    DeviceRegistry registry;
    fill(registry, records);
    int next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(registry.addOrUpdate(records.at(next)));
        next = next + 1 == count ? 0 : next + 1;
    }
    if (registry.record(Sondrix::deviceStableKey(records.first())).lastChanged !=
        records.first().lastChanged) {
        state.SkipWithError("an unchanged device counted as changed");
    }
}
BENCHMARK(updateUnchangedDevice)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

void listRecords(benchmark::State &state)
{
    DeviceRegistry registry;
    fill(registry, distinctDevices(static_cast<int>(state.range(0)), 4));
    for (auto _ : state) {
        benchmark::DoNotOptimize(registry.records());
    }
}
BENCHMARK(listRecords)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

void printReport(benchmark::State &state)
{
    DeviceRegistry registry;
    fill(registry, distinctDevices(static_cast<int>(state.range(0)), 4));
    Sondrix::DiscoveryManager manager(&registry);
    qint64 bytes = 0;
    for (auto _ : state) {
        const QJsonDocument report(Sondrix::buildScanReport(registry, &manager));
        bytes += report.toJson(QJsonDocument::Compact).size();
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(printReport)->Arg(1000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
