#include <QtTest>

#include "core/device_registry.h"
#include "core/discovery_manager.h"

using namespace Sondrix;

Q_DECLARE_METATYPE(Sondrix::DiscoveryConfig)

class ConfigureDiscoverersTest : public QObject
{
    Q_OBJECT

private slots:
    void addsSelectedProviders_data();
    void addsSelectedProviders();
    void addsAvailableProvidersBeforeAnyPass();
    void onlyAdds();
    void ownsItsDiscoverers();
    void handsOverEmberSeeds();
};

namespace
{

/// A configuration with the given providers alone, as names of the command line.
DiscoveryConfig configOf(const char *providers)
{
    DiscoveryConfig config;
    setAllProviders(&config, false);
    QString error;
    [&]() {
        QVERIFY2(applyProviderList(&config, QString::fromLatin1(providers), true, &error), qPrintable(error));
    }();
    return config;
}

QStringList providersOf(const DiscoveryManager &manager)
{
    QStringList names;
    const QList<ProviderStatus> rows = manager.providerStatuses();
    for (const ProviderStatus &row : rows) {
        names.append(row.name);
    }
    return names;
}

} // namespace

void ConfigureDiscoverersTest::addsSelectedProviders_data()
{
    QTest::addColumn<DiscoveryConfig>("config");
    QTest::addColumn<QStringList>("providers");

    const auto row = [](const char *name, const DiscoveryConfig &config, const char *providers) {
        QTest::newRow(name) << config
                            << QString::fromLatin1(providers).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    };
    row("defaults", DiscoveryConfig(), "mdns ssdp upnp-dlna roku cast airplay nmos ember ndi");
    row("none", configOf(""), "");
    row("mdns", configOf("mdns"), "mdns");
    row("ssdp", configOf("ssdp"), "ssdp");
    row("upnpDlna", configOf("upnpDlna"), "upnp-dlna");
    row("roku", configOf("roku"), "roku");
    row("cast", configOf("cast"), "cast");
    row("airplay", configOf("airplay"), "airplay");
    row("nmos", configOf("nmos"), "nmos");
    row("ember", configOf("ember"), "ember");
    row("onvif without active probing", configOf("onvif"), "");
    row("ndi", configOf("ndi"), "ndi");
    row("sapAes67", configOf("sapAes67"), "sap-aes67");
    row("named in another order", configOf("ember,ssdp,mdns"), "mdns ssdp ember");

    DiscoveryConfig probing = configOf("onvif");
    probing.activeProbingEnabled = true;
    row("onvif with active probing", probing, "onvif");

    DiscoveryConfig probingAlone = configOf("");
    probingAlone.activeProbingEnabled = true;
    row("active probing without onvif", probingAlone, "");

    DiscoveryConfig all;
    setAllProviders(&all, true);
    all.activeProbingEnabled = true;
    row("all eleven", all, "mdns ssdp upnp-dlna roku cast airplay nmos ember onvif ndi sap-aes67");

    DiscoveryConfig withoutMdns;
    withoutMdns.mdns = false;
    row("defaults without mdns", withoutMdns, "ssdp upnp-dlna roku cast airplay nmos ember ndi");

    DiscoveryConfig seedsAlone = configOf("ssdp");
    seedsAlone.emberSeeds = QStringList{QStringLiteral("router")};
    seedsAlone.nmosRegistries = QStringList{QStringLiteral("http://router/x-nmos/node/v1.3")};
    seedsAlone.ndiDiscoveryServers = QStringList{QStringLiteral("10.0.0.1")};
    row("seeds do not turn a provider on", seedsAlone, "ssdp");

    DiscoveryConfig unread = configOf("ssdp");
    unread.apiEnabled = true;
    unread.apiPort = 8080;
    unread.interfaces = QStringList{QStringLiteral("10.0.0.1")};
    unread.activeProbingEnabled = true;
    unread.streamlarkEnabled = true;
    row("fields that choose no provider", unread, "ssdp");
}

void ConfigureDiscoverersTest::addsSelectedProviders()
{
    QFETCH(DiscoveryConfig, config);
    QFETCH(QStringList, providers);

    DiscoveryManager manager(nullptr);
    manager.configureDiscoverers(config);
    QCOMPARE(providersOf(manager), providers);
}

void ConfigureDiscoverersTest::addsAvailableProvidersBeforeAnyPass()
{
    DiscoveryManager manager(nullptr);
    manager.configureDiscoverers(DiscoveryConfig());
    const QList<ProviderStatus> rows = manager.providerStatuses();
    for (const ProviderStatus &row : rows) {
        QVERIFY(row.enabled);
        QCOMPARE(row.status, QStringLiteral("idle"));
        QCOMPARE(row.error, QString());
        QVERIFY(!row.lastScanUtc.isValid());
    }
}

void ConfigureDiscoverersTest::onlyAdds()
{
    DiscoveryManager manager(nullptr);
    manager.configureDiscoverers(configOf("ember"));
    manager.configureDiscoverers(configOf("ssdp"));
    QCOMPARE(providersOf(manager), (QStringList{QStringLiteral("ember"), QStringLiteral("ssdp")}));
}

void ConfigureDiscoverersTest::ownsItsDiscoverers()
{
    DiscoveryManager manager(nullptr);
    manager.configureDiscoverers(DiscoveryConfig());
    QCOMPARE(manager.children().size(), manager.providerStatuses().size());
}

void ConfigureDiscoverersTest::handsOverEmberSeeds()
{
    DeviceRegistry registry;
    DiscoveryManager manager(&registry);
    DiscoveryConfig config = configOf("ember");
    config.emberSeeds = QStringList{QStringLiteral("router"), QStringLiteral("10.0.0.7:9100")};
    manager.configureDiscoverers(config);
    QCOMPARE(manager.runPass(), 2);
    QCOMPARE(registry.record(QStringLiteral("device-id:ember://router:9000")).displayName,
             QStringLiteral("router"));
    QCOMPARE(registry.record(QStringLiteral("device-id:ember://10.0.0.7:9100")).displayName,
             QStringLiteral("10.0.0.7"));
}

QTEST_GUILESS_MAIN(ConfigureDiscoverersTest)
#include "configure_discoverers_test.moc"
