#include <cstdio>
#include <malloc.h>
#include <unistd.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPixmapCache>
#include <QTimer>

#include "core/discovery_manager.h"
#include "discoverers/airplay_discoverer.h"
#include "discoverers/cast_discoverer.h"
#include "discoverers/ember_discoverer.h"
#include "discoverers/mdns_discoverer.h"
#include "discoverers/ndi_discoverer.h"
#include "discoverers/nmos_discoverer.h"
#include "discoverers/onvif_discoverer.h"
#include "discoverers/roku_discoverer.h"
#include "discoverers/sap_aes67_discoverer.h"
#include "discoverers/ssdp_discoverer.h"
#include "discoverers/upnp_dlna_discoverer.h"
#include "ui/app_theme.h"
#include "ui/main_window.h"

// window_soak PASSES NMOS-NODE: refreshes the program's window so often, with every provider and with
// listening windows as short as they go, and tells after each pass what the process holds:
//
//   PASS DESCRIPTORS RESIDENT-KIB SUMMARY

namespace
{

constexpr int windowMs = 100; // the least that the discoverers allow
QString nmosNode;

int openDescriptors()
{
    // One is that of the folder itself.
    return int(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size()) - 1;
}

/// Without what Qt and the C library keep at hand for later.
long residentKib()
{
    QPixmapCache::clear();
    malloc_trim(0);
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    return file.readAll().split(' ').value(1).toLong() * (sysconf(_SC_PAGESIZE) / 1024);
}

/// The line of counts, known by its bars.
QString summary(const MainWindow &window)
{
    const QList<QLabel *> labels = window.findChildren<QLabel *>();
    for (const QLabel *label : labels) {
        if (label->text().contains(QStringLiteral(" | "))) {
            return label->text();
        }
    }
    return QString();
}

} // namespace

namespace Sondrix
{

/// Reaches into discoverers for their windows, which the program never changes.
class WindowSoak
{
public:
    template<typename Discoverer>
    static Discoverer *shortened()
    {
        auto *discoverer = new Discoverer;
        discoverer->m_timeoutMs = windowMs;
        return discoverer;
    }
};

/// Stands in for the program's own.
void DiscoveryManager::configureDiscoverers(const DiscoveryConfig &)
{
    auto *mdns = new MdnsDiscoverer;
    mdns->setTimeoutMs(windowMs);
    addDiscoverer(mdns);
    auto *ssdp = new SsdpDiscoverer;
    ssdp->setTimeoutMs(windowMs);
    addDiscoverer(ssdp);
    addDiscoverer(WindowSoak::shortened<UpnpDlnaDiscoverer>());
    addDiscoverer(WindowSoak::shortened<RokuDiscoverer>());
    addDiscoverer(WindowSoak::shortened<CastDiscoverer>());
    addDiscoverer(WindowSoak::shortened<AirPlayDiscoverer>());
    auto *nmos = new NmosDiscoverer;
    nmos->setRegistries({nmosNode});
    addDiscoverer(nmos);
    auto *ember = new EmberDiscoverer;
    ember->setSeeds({QStringLiteral("ember://console.example:9000")});
    addDiscoverer(ember);
    addDiscoverer(WindowSoak::shortened<OnvifDiscoverer>());
    auto *ndi = new NdiDiscoverer;
    ndi->setAvailable(true);
    addDiscoverer(ndi);
    addDiscoverer(WindowSoak::shortened<SapAes67Discoverer>());
}

} // namespace Sondrix

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    if (argc != 3) {
        return 2;
    }
    const int passes = QByteArray(argv[1]).toInt();
    nmosNode = QString::fromLocal8Bit(argv[2]);
    applyAppTheme();
    MainWindow window;
    window.show();
    int pass = 0;
    QTimer next; // so that each pass begins in the event loop, as the program's do
    QObject::connect(&next, &QTimer::timeout, [&] {
        window.startScan(true);
        std::printf("%d %d %ld %s\n", ++pass, openDescriptors(), residentKib(), qPrintable(summary(window)));
        std::fflush(stdout);
        if (pass == passes) {
            QApplication::quit();
        }
    });
    next.start(0);
    return QApplication::exec();
}
