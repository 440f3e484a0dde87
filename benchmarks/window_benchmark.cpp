#include <algorithm>

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QListView>
#include <benchmark/benchmark.h>

#include "core/device_discoverer.h"
#include "core/discovery_manager.h"
#include "ui/app_theme.h"
#include "ui/main_window.h"

using Sondrix::DeviceRecord;
using Sondrix::Direction;
using Sondrix::EndpointRecord;
using Sondrix::MediaKind;

namespace
{

QList<DeviceRecord> nextPass; // what the window's only provider answers

class ScriptedDiscoverer : public Sondrix::IDeviceDiscoverer
{
public:
    QString providerName() const override { return QStringLiteral("mdns"); }
    bool isAvailable() const override { return true; }
    QList<DeviceRecord> scan(QString *) override { return nextPass; }
};

/// Devices as a large studio has them: cameras that both lists show, with one or two streams each.
QList<DeviceRecord> distinctDevices(int count)
{
    const QStringList protocols{QStringLiteral("rtsp"), QStringLiteral("nmos"), QStringLiteral("ndi"),
                                QStringLiteral("upnp")};
    const QList<Direction> directions{Direction::input, Direction::output, Direction::inputOutput};
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QList<DeviceRecord> records;
    for (int i = 0; i < count; ++i) {
        const QString number = QStringLiteral("%1").arg(i, 5, 10, QLatin1Char('0'));
        DeviceRecord record;
        record.id = QStringLiteral("uuid:4D696E69-444C-164E-9D41-B827EB") + number;
        record.displayName = QStringLiteral("Camera ") + number;
        record.vendor = QStringLiteral("Vendor %1").arg(i % 7);
        record.model = QStringLiteral("Model %1").arg(i % 31);
        record.hostname = QStringLiteral("Studio-Camera-") + number + QStringLiteral(".local");
        record.addresses =
            QStringList{QStringLiteral("10.%1.%2.%3").arg(i / 62500).arg(i / 250 % 250).arg(i % 250)};
        record.provider = QStringLiteral("mdns");
        record.protocol = protocols.at(i % protocols.size());
        record.direction = directions.at(i % directions.size());
        record.mediaKinds = MediaKind::audio | MediaKind::video;
        record.ttlSeconds = 120;
        record.firstSeen = now;
        record.lastSeen = now;
        for (int e = 0; e < 1 + i % 2; ++e) {
            EndpointRecord endpoint;
            endpoint.id = record.id + QStringLiteral(":stream-") + QString::number(e);
            endpoint.label = QStringLiteral("Stream %1").arg(e + 1);
            endpoint.protocol = record.protocol;
            endpoint.url = QStringLiteral("rtsp://") + record.hostname + QStringLiteral(":554/stream/") +
                           QString::number(e);
            endpoint.transport = QStringLiteral("TCP");
            endpoint.lastSeen = now;
            record.endpoints.append(endpoint);
        }
        records.append(record);
    }
    return records;
}

/// How many rows the fuller of the window's two lists has.
int rowsOf(const MainWindow &window)
{
    int rows = 0;
    const QList<QListView *> views = window.findChildren<QListView *>();
    for (const QListView *view : views) {
        if (view->contextMenuPolicy() == Qt::CustomContextMenu) {
            rows = std::max(rows, view->model()->rowCount());
        }
    }
    return rows;
}

/// The window on the screen with the devices in its lists.
void fill(MainWindow &window, int count)
{
    window.show();
    QApplication::processEvents();
    nextPass = distinctDevices(count);
    window.startScan(true);
}

/// One iteration is a pass that brings all devices into an empty window.
void devicesArriveInOnePass(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        nextPass.clear();
        MainWindow window;
        window.show();
        QApplication::processEvents();
        nextPass = distinctDevices(count);
        state.ResumeTiming();
        window.startScan(true);
        QApplication::processEvents();
        state.PauseTiming();
        if (rowsOf(window) < count / 2) {
            state.SkipWithError("devices are missing");
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(devicesArriveInOnePass)->Arg(100)->Arg(2000)->Unit(benchmark::kMillisecond);

/// One iteration is a later pass that sees all devices again.
void devicesAreSeenAgain(benchmark::State &state)
{
    const int count = static_cast<int>(state.range(0));
    MainWindow window;
    fill(window, count);
    for (auto _ : state) {
        window.startScan(true);
        QApplication::processEvents();
    }
    state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(devicesAreSeenAgain)->Arg(100)->Arg(2000)->Unit(benchmark::kMillisecond);

/// One iteration is one change of the search text, with the lists painted anew: "camera 0012" is
/// typed and taken back, character by character.
void searchKeystroke(benchmark::State &state)
{
    MainWindow window;
    fill(window, static_cast<int>(state.range(0)));
    QLineEdit *search = nullptr;
    const QList<QLineEdit *> edits = window.findChildren<QLineEdit *>();
    for (QLineEdit *edit : edits) {
        if (edit->placeholderText() == QStringLiteral("Search")) {
            search = edit;
        }
    }
    if (search == nullptr) {
        state.SkipWithError("no search box");
        return;
    }
    const QString text = QStringLiteral("camera 0012");
    int typed = 0;
    int direction = 1;
    double worstMs = 0;
    for (auto _ : state) {
        typed += direction;
        direction = typed == text.size() ? -1 : typed == 0 ? 1 : direction;
        QElapsedTimer elapsed;
        elapsed.start();
        search->setText(text.left(typed));
        QApplication::processEvents();
        worstMs = std::max(worstMs, double(elapsed.nsecsElapsed()) / 1e6);
    }
    state.counters["worst_ms"] = worstMs;
}
BENCHMARK(searchKeystroke)->Arg(100)->Arg(2000)->Unit(benchmark::kMillisecond);

} // namespace

/// Stands in for the program's own, so that no pass reaches the network.
void Sondrix::DiscoveryManager::configureDiscoverers(const DiscoveryConfig &)
{
    addDiscoverer(new ScriptedDiscoverer);
}

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    const QApplication application(argc, argv);
    applyAppTheme();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
