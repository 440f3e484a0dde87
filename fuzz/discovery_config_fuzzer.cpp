#include <algorithm>

#include <QJsonArray>
#include <QJsonDocument>

#include "core/discovery_config.h"
#include "fuzz/record_properties.h"

namespace
{

using namespace Sondrix;

/// The provider flags in the order in which knownProviderNames() names them.
QList<bool> providerFlags(const DiscoveryConfig &config)
{
    return {config.mdns, config.ssdp,  config.upnpDlna, config.roku, config.cast,    config.airplay,
            config.nmos, config.ember, config.onvif,    config.ndi,  config.sapAes67};
}

/// The file that describes a configuration in full.
QJsonObject fileOf(const DiscoveryConfig &config)
{
    QJsonObject providers;
    const QStringList names = knownProviderNames();
    const QList<bool> flags = providerFlags(config);
    for (int i = 0; i < names.size(); ++i) {
        providers.insert(names.at(i), flags.at(i));
    }
    return QJsonObject{
        {QStringLiteral("api"), QJsonObject{{QStringLiteral("enabled"), config.apiEnabled},
                                            {QStringLiteral("bindAddress"), config.apiBindAddress},
                                            {QStringLiteral("port"), config.apiPort}}},
        {QStringLiteral("discovery"),
         QJsonObject{{QStringLiteral("interfaces"), QJsonArray::fromStringList(config.interfaces)},
                     {QStringLiteral("activeProbingEnabled"), config.activeProbingEnabled},
                     {QStringLiteral("providers"), providers}}},
        {QStringLiteral("streamlark"), QJsonObject{{QStringLiteral("enabled"), config.streamlarkEnabled}}},
        {QStringLiteral("manualSeeds"),
         QJsonObject{{QStringLiteral("ember"), QJsonArray::fromStringList(config.emberSeeds)},
                     {QStringLiteral("nmosRegistries"), QJsonArray::fromStringList(config.nmosRegistries)},
                     {QStringLiteral("ndiDiscoveryServers"),
                      QJsonArray::fromStringList(config.ndiDiscoveryServers)}}},
    };
}

void checkFile(const QByteArray &contents)
{
    const QJsonDocument document = QJsonDocument::fromJson(contents);
    if (!document.isObject()) {
        return;
    }
    const QJsonObject root = document.object();
    const QJsonObject file = fileOf(parseDiscoveryConfig(root));
    FUZZ_ASSERT(fileOf(parseDiscoveryConfig(file)) == file);

    // What stands in the file with the type that the default has is taken; nothing else is.
    const QJsonObject defaults = fileOf(DiscoveryConfig());
    for (auto section = file.constBegin(); section != file.constEnd(); ++section) {
        const QJsonObject taken = section.value().toObject();
        const QJsonObject given = root.value(section.key()).toObject();
        for (auto it = taken.constBegin(); it != taken.constEnd(); ++it) {
            if (it.value().isBool() || it.value().isString()) {
                const QJsonValue usual = defaults.value(section.key()).toObject().value(it.key());
                const QJsonValue value = given.value(it.key());
                FUZZ_ASSERT(it.value() == (value.type() == usual.type() ? value : usual));
            }
        }
    }
}

int countOf(const QList<bool> &flags, bool enabled)
{
    return int(std::count(flags.cbegin(), flags.cend(), enabled));
}

bool isAscii(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80; });
}

void checkProviderList(const QString &list, bool enabled)
{
    DiscoveryConfig config;
    setAllProviders(&config, !enabled);
    QString error;
    const bool isKnown = applyProviderList(&config, list, enabled, &error);
    FUZZ_ASSERT(isKnown == error.isEmpty());
    const QList<bool> flags = providerFlags(config);
    FUZZ_ASSERT(countOf(flags, enabled) <= list.count(QLatin1Char(',')) + 1);

    QString secondError;
    FUZZ_ASSERT(applyProviderList(&config, list, enabled, &secondError) == isKnown);
    FUZZ_ASSERT(secondError == error);
    FUZZ_ASSERT(providerFlags(config) == flags);
    FUZZ_ASSERT(applyProviderList(&config, list, !enabled, nullptr) == isKnown);
    FUZZ_ASSERT(countOf(providerFlags(config), enabled) == 0);

    // Letter case does not matter; beyond ASCII, upper case is not always undone by lower case.
    if (isAscii(list)) {
        FUZZ_ASSERT(applyProviderList(&config, list.toUpper(), enabled, nullptr) == isKnown);
        FUZZ_ASSERT(providerFlags(config) == flags);
    }
}

} // namespace

/// The input: the contents of a configuration file, and a list of provider names.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QList<QByteArray> parts = Fuzz::bytesOf(data, size).split(Fuzz::partSeparator);
    checkFile(parts.value(0));
    const QString list = QString::fromUtf8(parts.value(1));
    checkProviderList(list, true);
    checkProviderList(list, false);
    return 0;
}
