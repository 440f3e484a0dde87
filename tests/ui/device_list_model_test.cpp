#include "ui/device_list_model.h"

#include <functional>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QStringListModel>
#include <QtTest>

#include "core/device_registry.h"

using Sondrix::DeviceRecord;
using Sondrix::DeviceRegistry;
using Sondrix::Direction;
using Sondrix::EndpointRecord;
using Sondrix::MediaKind;

using Change = std::function<void(DeviceRecord &)>;
using Setter = void (DeviceListModel::*)(const QString &);

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(Setter)
Q_DECLARE_METATYPE(Sondrix::Direction)

namespace
{

DeviceRecord device(const QString &id, Direction direction = Direction::input)
{
    DeviceRecord record;
    record.id = id;
    record.direction = direction;
    return record;
}

DeviceRecord device(const QString &id, const Change &change)
{
    DeviceRecord record = device(id);
    change(record);
    return record;
}

Change protocol(const QString &text)
{
    return [text](DeviceRecord &record) { record.protocol = text; };
}

Change provider(const QString &text)
{
    return [text](DeviceRecord &record) { record.provider = text; };
}

/// The stable keys of the rows, in their order.
QStringList rows(const DeviceListModel &model)
{
    QStringList keys;
    for (int row = 0; row < model.rowCount(); ++row) {
        keys.append(model.stableKeyAt(model.index(row)));
    }
    return keys;
}

/// How often an action resets the model.
int resetsDuring(const DeviceListModel &model, const std::function<void()> &action)
{
    const QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    action();
    return resets.count();
}

void expectDefaultRecord(const DeviceRecord &record)
{
    QCOMPARE(Sondrix::deviceToJson(record), Sondrix::deviceToJson(DeviceRecord()));
}

} // namespace

class DeviceListModelTest : public QObject
{
    Q_OBJECT

private slots:
    void isAConsistentModel();
    void startsFilled();
    void isEmptyWithoutARegistry();
    void isEmptyOverAnEmptyRegistry();
    void showsTheDevicesOfItsSide_data();
    void showsTheDevicesOfItsSide();
    void ordersRowsByStableKey();
    void followsTheRegistry();
    void rebuildsOncePerSignal();
    void readsRowsFromTheRegistry();
    void readsAForgottenRowAsTheDefaultRecord();

    void answersItsRoles_data();
    void answersItsRoles();
    void answersNoOtherRole_data();
    void answersNoOtherRole();
    void toolTipKeepsPercentSigns();
    void readsNothingOutsideItsRows();
    void rowsAreSelectableLeaves();

    void searches_data();
    void searches();
    void matchesEveryRecordWithoutASearchText_data();
    void matchesEveryRecordWithoutASearchText();
    void searchFiltersTheRows();
    void filtersByProtocol_data();
    void filtersByProtocol();
    void filtersByProvider();
    void filtersByStatus_data();
    void filtersByStatus();
    void combinesAllFilters();
    void keepsFiltersForLaterDevices();
    void ignoresAValueThatStands_data();
    void ignoresAValueThatStands();
    void rebuildsOncePerChangedValue();
    void blankSearchTextCountsAsAChange();

    void normalizesFilterValues_data();
    void normalizesFilterValues();
    void namesADevice_data();
    void namesADevice();
    void labelsProtocols_data();
    void labelsProtocols();
    void labelsTheProviderWithoutAProtocol_data();
    void labelsTheProviderWithoutAProtocol();

    void offersDistinctProtocols();
    void offersDistinctProviders();
    void choicesIgnoreSideAndFilters();
};

void DeviceListModelTest::isAConsistentModel()
{
    DeviceRegistry registry;
    DeviceListModel model(&registry, ListSide::Inputs);
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    registry.addOrUpdate(device(QStringLiteral("b")));
    registry.addOrUpdate(device(QStringLiteral("a"), Direction::inputOutput));
    registry.addOrUpdate(device(QStringLiteral("c"), Direction::output));
    registry.addOrUpdate(device(QStringLiteral("a")));
    model.setSearchText(QStringLiteral("b"));
    model.setSearchText(QString());
    registry.remove(QStringLiteral("device-id:b"));
    QCOMPARE(rows(model), QStringList(QStringLiteral("device-id:a")));
}

void DeviceListModelTest::startsFilled()
{
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("a")));
    const DeviceListModel model(&registry, ListSide::Inputs);
    QCOMPARE(rows(model), QStringList(QStringLiteral("device-id:a")));
}

void DeviceListModelTest::isEmptyWithoutARegistry()
{
    DeviceListModel model(nullptr, ListSide::Inputs);
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    model.refresh();
    model.setSearchText(QStringLiteral("a"));
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(model.availableProtocols(), QStringList());
    QCOMPARE(model.availableProviders(), QStringList());
    expectDefaultRecord(model.recordAt(QModelIndex()));
}

void DeviceListModelTest::isEmptyOverAnEmptyRegistry()
{
    DeviceRegistry registry;
    const DeviceListModel model(&registry, ListSide::Outputs);
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(model.availableProtocols(), QStringList());
    QCOMPARE(model.availableProviders(), QStringList());
}

void DeviceListModelTest::showsTheDevicesOfItsSide_data()
{
    QTest::addColumn<Direction>("direction");
    QTest::addColumn<bool>("isInput");
    QTest::addColumn<bool>("isOutput");

    QTest::newRow("unknown") << Direction::unknown << false << false;
    QTest::newRow("input") << Direction::input << true << false;
    QTest::newRow("output") << Direction::output << false << true;
    QTest::newRow("input and output") << Direction::inputOutput << true << true;
    QTest::newRow("control only") << Direction::controlOnly << false << false;
}

void DeviceListModelTest::showsTheDevicesOfItsSide()
{
    QFETCH(Direction, direction);
    QFETCH(bool, isInput);
    QFETCH(bool, isOutput);
    DeviceRegistry registry;
    const DeviceListModel inputs(&registry, ListSide::Inputs);
    const DeviceListModel outputs(&registry, ListSide::Outputs);
    registry.addOrUpdate(device(QStringLiteral("a"), direction));
    QCOMPARE(inputs.rowCount(), isInput ? 1 : 0);
    QCOMPARE(outputs.rowCount(), isOutput ? 1 : 0);
}

void DeviceListModelTest::ordersRowsByStableKey()
{
    DeviceRegistry registry;
    const DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(
        device(QStringLiteral("2"), [](DeviceRecord &record) { record.displayName = QStringLiteral("A"); }));
    registry.addOrUpdate(
        device(QStringLiteral("10"), [](DeviceRecord &record) { record.displayName = QStringLiteral("Z"); }));
    registry.addOrUpdate(device(QString(), [](DeviceRecord &record) {
        record.hostname = QStringLiteral("cam");
        record.displayName = QStringLiteral("M");
    }));
    // By UTF-16 code units: U+1F3A5 begins with a surrogate and stands before U+FF41.
    registry.addOrUpdate(device(QStringLiteral("\uFF41")));
    registry.addOrUpdate(device(QStringLiteral("\U0001F3A5")));
    QCOMPARE(rows(model), QStringList({QStringLiteral("device-host:cam"), QStringLiteral("device-id:10"),
                                       QStringLiteral("device-id:2"), QStringLiteral("device-id:\U0001F3A5"),
                                       QStringLiteral("device-id:\uFF41")}));
}

void DeviceListModelTest::followsTheRegistry()
{
    DeviceRegistry registry;
    const DeviceListModel model(&registry, ListSide::Outputs);
    registry.addOrUpdate(device(QStringLiteral("a")));
    QCOMPARE(model.rowCount(), 0);
    registry.addOrUpdate(device(QStringLiteral("a"), Direction::output));
    QCOMPARE(model.rowCount(), 1);
    registry.remove(QStringLiteral("device-id:a"));
    QCOMPARE(model.rowCount(), 0);
}

void DeviceListModelTest::rebuildsOncePerSignal()
{
    DeviceRegistry registry;
    DeviceListModel model(&registry, ListSide::Inputs);
    QCOMPARE(resetsDuring(model, [&] { registry.addOrUpdate(device(QStringLiteral("a"))); }), 1);
    QCOMPARE(resetsDuring(model, [&] { registry.addOrUpdate(device(QStringLiteral("a"))); }), 1);
    QCOMPARE(resetsDuring(model, [&] { registry.remove(QStringLiteral("device-id:a")); }), 1);
    QCOMPARE(resetsDuring(model, [&] { registry.remove(QStringLiteral("device-id:a")); }), 0);
    QCOMPARE(resetsDuring(model, [&] { model.refresh(); }), 1);
    // Others reach the slot by its name.
    QCOMPARE(resetsDuring(model, [&] { QVERIFY(QMetaObject::invokeMethod(&model, "refresh")); }), 1);
}

void DeviceListModelTest::readsRowsFromTheRegistry()
{
    DeviceRegistry registry;
    DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(device(QStringLiteral("a"), protocol(QStringLiteral("ndi"))));
    registry.addOrUpdate(device(QStringLiteral("a"), [](DeviceRecord &record) {
        record.displayName = QStringLiteral("Studio 1");
        record.protocol = QStringLiteral("nmos");
    }));
    QCOMPARE(model.index(0).data().toString(), QStringLiteral("Studio 1 (NMOS)"));
    QCOMPARE(model.recordAt(model.index(0)).displayName, QStringLiteral("Studio 1"));
}

/// While a removal is told, a list that has not been told yet still holds the row.
void DeviceListModelTest::readsAForgottenRowAsTheDefaultRecord()
{
    DeviceRegistry registry;
    DeviceListModel *model = nullptr;
    QVariant text;
    QVariant key;
    DeviceRecord record = device(QStringLiteral("not default"));
    connect(&registry, &DeviceRegistry::deviceRemoved, this, [&] {
        const QModelIndex index = model->index(0);
        text = index.data();
        key = index.data(DeviceListModel::StableKeyRole);
        record = model->recordAt(index);
    });
    DeviceListModel listening(&registry, ListSide::Inputs);
    model = &listening;
    registry.addOrUpdate(device(QStringLiteral("a"), protocol(QStringLiteral("ndi"))));
    registry.remove(QStringLiteral("device-id:a"));
    QCOMPARE(text, QVariant(QString()));
    QCOMPARE(key, QVariant(QStringLiteral("device-id:a")));
    expectDefaultRecord(record);
    QCOMPARE(listening.rowCount(), 0);
}

void DeviceListModelTest::answersItsRoles_data()
{
    QTest::addColumn<int>("role");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("display") << int(Qt::DisplayRole) << QVariant(QStringLiteral("Camera 1 (DLNA)"));
    QTest::newRow("tool tip") << int(Qt::ToolTipRole)
                              << QVariant(
                                     QStringLiteral("Camera 1 (DLNA)\nUPnP\n192.0.2.1, 2001:db8::1%eth0"));
    QTest::newRow("stable key") << Qt::UserRole + 1 << QVariant(QStringLiteral("device-id:uuid:1"));
    QTest::newRow("protocol as stored") << Qt::UserRole + 2 << QVariant(QStringLiteral("UPnP"));
    QTest::newRow("provider as stored") << Qt::UserRole + 3 << QVariant(QStringLiteral("Upnp-Dlna"));
}

void DeviceListModelTest::answersItsRoles()
{
    QFETCH(int, role);
    DeviceRegistry registry;
    const DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(device(QStringLiteral("UUID:1"), [](DeviceRecord &record) {
        record.displayName = QStringLiteral("Camera 1");
        record.protocol = QStringLiteral("UPnP");
        record.provider = QStringLiteral("Upnp-Dlna");
        record.addresses = QStringList{QStringLiteral("192.0.2.1"), QStringLiteral("2001:db8::1%eth0")};
    }));
    QTEST(model.index(0).data(role), "expected");
}

void DeviceListModelTest::answersNoOtherRole_data()
{
    QTest::addColumn<int>("role");

    QTest::newRow("decoration") << int(Qt::DecorationRole);
    QTest::newRow("edit") << int(Qt::EditRole);
    QTest::newRow("status tip") << int(Qt::StatusTipRole);
    QTest::newRow("font") << int(Qt::FontRole);
    QTest::newRow("alignment") << int(Qt::TextAlignmentRole);
    QTest::newRow("background") << int(Qt::BackgroundRole);
    QTest::newRow("foreground") << int(Qt::ForegroundRole);
    QTest::newRow("check state") << int(Qt::CheckStateRole);
    QTest::newRow("size") << int(Qt::SizeHintRole);
    QTest::newRow("first user role") << int(Qt::UserRole);
    QTest::newRow("past the last") << Qt::UserRole + 4;
    QTest::newRow("negative") << -1;
}

void DeviceListModelTest::answersNoOtherRole()
{
    QFETCH(int, role);
    DeviceRegistry registry;
    const DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(device(QStringLiteral("a"), [](DeviceRecord &record) { record.online = false; }));
    QVERIFY(model.index(0).data().isValid());
    QVERIFY(!model.index(0).data(role).isValid());
}

void DeviceListModelTest::toolTipKeepsPercentSigns()
{
    DeviceRegistry registry;
    const DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(device(QStringLiteral("a"), [](DeviceRecord &record) {
        record.displayName = QStringLiteral("50%2 off %1");
        record.protocol = QStringLiteral("%3");
        record.addresses = QStringList(QStringLiteral("fe80::1%2"));
    }));
    QCOMPARE(model.index(0).data().toString(), QStringLiteral("50%2 off %1 (%3)"));
    QCOMPARE(model.index(0).data(Qt::ToolTipRole).toString(),
             QStringLiteral("50%2 off %1 (%3)\n%3\nfe80::1%2"));
}

void DeviceListModelTest::readsNothingOutsideItsRows()
{
    DeviceRegistry registry;
    DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(device(QStringLiteral("a")));
    registry.addOrUpdate(device(QStringLiteral("b")));
    const QModelIndex second = model.index(1);
    // The index outlives its row.
    model.setSearchText(QStringLiteral("a"));
    for (const QModelIndex &index : {QModelIndex(), second, model.index(-1), model.index(7)}) {
        QVERIFY(!model.data(index, Qt::DisplayRole).isValid());
        QVERIFY(!model.data(index, Qt::ToolTipRole).isValid());
        QVERIFY(!model.data(index, DeviceListModel::StableKeyRole).isValid());
        QCOMPARE(model.stableKeyAt(index), QString());
        expectDefaultRecord(model.recordAt(index));
    }
}

void DeviceListModelTest::rowsAreSelectableLeaves()
{
    DeviceRegistry registry;
    DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(device(QStringLiteral("a")));
    const QModelIndex row = model.index(0);
    QVERIFY(model.flags(row).testFlag(Qt::ItemIsSelectable));
    QVERIFY(model.flags(row).testFlag(Qt::ItemIsEnabled));
    QVERIFY(!model.flags(row).testFlag(Qt::ItemIsEditable));
    QCOMPARE(model.rowCount(row), 0);
    QCOMPARE(model.roleNames(), QStringListModel().roleNames());
}

void DeviceListModelTest::searches_data()
{
    QTest::addColumn<QString>("searchText");
    QTest::addColumn<Change>("change");
    QTest::addColumn<bool>("expected");

    const QString needle = QStringLiteral("Needle");
    const auto hay = [](QString DeviceRecord::*field) -> Change {
        return [field](DeviceRecord &record) { record.*field = QStringLiteral("hay NEEDLE hay"); };
    };
    const auto endpointHay = [](QString EndpointRecord::*field) -> Change {
        return [field](DeviceRecord &record) {
            EndpointRecord endpoint;
            endpoint.*field = QStringLiteral("hay nEEdlE hay");
            record.endpoints = QList<EndpointRecord>{EndpointRecord(), endpoint};
        };
    };
    QTest::newRow("id") << needle << hay(&DeviceRecord::id) << true;
    QTest::newRow("displayName") << needle << hay(&DeviceRecord::displayName) << true;
    QTest::newRow("vendor") << needle << hay(&DeviceRecord::vendor) << true;
    QTest::newRow("model") << needle << hay(&DeviceRecord::model) << true;
    QTest::newRow("serial") << needle << hay(&DeviceRecord::serial) << true;
    QTest::newRow("firmware") << needle << hay(&DeviceRecord::firmware) << true;
    QTest::newRow("hostname") << needle << hay(&DeviceRecord::hostname) << true;
    QTest::newRow("provider") << needle << hay(&DeviceRecord::provider) << true;
    QTest::newRow("protocol") << needle << hay(&DeviceRecord::protocol) << true;
    QTest::newRow("a later address") << needle << Change([](DeviceRecord &record) {
        record.addresses = QStringList{QStringLiteral("192.0.2.1"), QStringLiteral("needle.example")};
    }) << true;
    QTest::newRow("endpoint id") << needle << endpointHay(&EndpointRecord::id) << true;
    QTest::newRow("endpoint label") << needle << endpointHay(&EndpointRecord::label) << true;
    QTest::newRow("endpoint protocol") << needle << endpointHay(&EndpointRecord::protocol) << true;
    QTest::newRow("endpoint url") << needle << endpointHay(&EndpointRecord::url) << true;
    QTest::newRow("endpoint transport") << needle << endpointHay(&EndpointRecord::transport) << true;

    const Change known = [](DeviceRecord &record) {
        record.id = QStringLiteral("ABC");
        record.displayName = QStringLiteral("Camera 1");
        record.protocol = QStringLiteral("upnp");
        record.direction = Direction::inputOutput;
        record.mediaKinds = MediaKind::audio;
        record.protocolData = QJsonObject{{QStringLiteral("upnp.key"), QStringLiteral("needle")}};
        EndpointRecord endpoint;
        endpoint.direction = Direction::output;
        endpoint.mediaKinds = MediaKind::video;
        endpoint.metadata.insert(QStringLiteral("path"), QStringLiteral("needle"));
        record.endpoints.append(endpoint);
    };
    QTest::newRow("protocol data is not searched") << needle << known << false;
    QTest::newRow("keys of protocol data are not searched") << QStringLiteral("upnp.key") << known << false;
    QTest::newRow("endpoint metadata is not searched") << QStringLiteral("path") << known << false;
    QTest::newRow("direction is not searched") << QStringLiteral("output") << known << false;
    QTest::newRow("media kinds are not searched") << QStringLiteral("audio") << known << false;
    QTest::newRow("status is not searched") << QStringLiteral("online") << known << false;
    QTest::newRow("stable key is not searched") << QStringLiteral("device-id:abc") << known << false;
    QTest::newRow("short label is not searched") << QStringLiteral("dlna") << known << false;

    QTest::newRow("blanks at the ends") << QStringLiteral(" \tcamera \n") << known << true;
    QTest::newRow("a blank inside") << QStringLiteral("a 1") << known << true;
    QTest::newRow("two words apart") << QStringLiteral("camera upnp") << known << false;
    QTest::newRow("across two fields") << QStringLiteral("abccamera") << known << false;
    QTest::newRow("no wildcard") << QStringLiteral("cam*") << known << false;
    QTest::newRow("no regular expression") << QStringLiteral("c.mera") << known << false;
    QTest::newRow("longer than every text") << QStringLiteral("camera 1 camera 1") << known << false;

    const auto named = [](const QString &name) -> Change {
        return [name](DeviceRecord &record) { record.displayName = name; };
    };
    QTest::newRow("capitals beyond ASCII")
        << QStringLiteral("übertragung") << named(QStringLiteral("ÜBERTRAGUNG 1")) << true;
    QTest::newRow("capitals beyond ASCII in the search")
        << QStringLiteral("ПРЯМОЙ") << named(QStringLiteral("прямой эфир")) << true;
    QTest::newRow("accents count") << QStringLiteral("ubertragung") << named(QStringLiteral("Übertragung"))
                                   << false;
    QTest::newRow("search beyond ASCII in a plain text")
        << QStringLiteral("caméra") << named(QStringLiteral("camera")) << false;
    // U+212A, the Kelvin sign, lower-cases to k; U+017F, the long s, is lower-case already.
    QTest::newRow("kelvin sign in the text")
        << QStringLiteral("k2") << named(QStringLiteral("\u212A2")) << true;
    QTest::newRow("kelvin sign in the search")
        << QStringLiteral("\u212A2") << named(QStringLiteral("k2")) << true;
    QTest::newRow("long s in the text")
        << QStringLiteral("studio") << named(QStringLiteral("\u017Ftudio")) << false;
    QTest::newRow("long s in the search")
        << QStringLiteral("\u017Ftudio") << named(QStringLiteral("studio")) << false;
    // U+0130 lower-cases to two characters, so that the text grows.
    QTest::newRow("a text that grows")
        << QStringLiteral("i\u0307") << named(QStringLiteral("\u0130")) << true;
}

void DeviceListModelTest::searches()
{
    QFETCH(QString, searchText);
    QFETCH(Change, change);
    DeviceListModel model(nullptr, ListSide::Inputs);
    model.setSearchText(searchText);
    DeviceRecord record;
    change(record);
    QTEST(model.matchesSearch(record), "expected");
}

void DeviceListModelTest::matchesEveryRecordWithoutASearchText_data()
{
    QTest::addColumn<QString>("searchText");

    QTest::newRow("empty") << QString();
    QTest::newRow("blanks") << QStringLiteral("  \t ");
}

void DeviceListModelTest::matchesEveryRecordWithoutASearchText()
{
    QFETCH(QString, searchText);
    DeviceListModel model(nullptr, ListSide::Inputs);
    model.setSearchText(searchText);
    QVERIFY(model.matchesSearch(DeviceRecord()));
}

void DeviceListModelTest::searchFiltersTheRows()
{
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("cam-a"), Direction::inputOutput));
    registry.addOrUpdate(device(QStringLiteral("cam-b"), Direction::output));
    registry.addOrUpdate(device(QStringLiteral("mic"), Direction::inputOutput));
    DeviceListModel model(&registry, ListSide::Inputs);
    model.setSearchText(QStringLiteral("CAM"));
    QCOMPARE(rows(model), QStringList(QStringLiteral("device-id:cam-a")));
    model.setSearchText(QStringLiteral("nothing has this"));
    QCOMPARE(rows(model), QStringList());
    model.setSearchText(QString());
    QCOMPARE(rows(model), QStringList({QStringLiteral("device-id:cam-a"), QStringLiteral("device-id:mic")}));
}

void DeviceListModelTest::filtersByProtocol_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QStringList>("expected");

    const QStringList all{QStringLiteral("device-id:1-ndi"), QStringLiteral("device-id:2-capitals"),
                          QStringLiteral("device-id:3-blanks"), QStringLiteral("device-id:4-longer"),
                          QStringLiteral("device-id:5-none")};
    const QStringList ndi{all.at(0), all.at(1)};
    QTest::newRow("no filter") << QString() << all;
    QTest::newRow("entry for no filter") << QStringLiteral("All Protocols") << all;
    QTest::newRow("entry of another combo") << QStringLiteral("all providers") << all;
    QTest::newRow("exact") << QStringLiteral("ndi") << ndi;
    QTest::newRow("letter case") << QStringLiteral("Ndi") << ndi;
    // The filter's value is trimmed and the record's is not: a choice with blanks matches nothing
    // of its own.
    QTest::newRow("blanks") << QStringLiteral(" ndi ") << ndi;
    QTest::newRow("short label") << QStringLiteral("NDI HX") << QStringList(all.at(3));
    QTest::newRow("prefix") << QStringLiteral("nd") << QStringList();
    QTest::newRow("value of no record") << QStringLiteral("onvif") << QStringList();
}

void DeviceListModelTest::filtersByProtocol()
{
    QFETCH(QString, filter);
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("1-ndi"), protocol(QStringLiteral("ndi"))));
    registry.addOrUpdate(device(QStringLiteral("2-capitals"), protocol(QStringLiteral("NDI"))));
    registry.addOrUpdate(device(QStringLiteral("3-blanks"), protocol(QStringLiteral(" ndi "))));
    registry.addOrUpdate(device(QStringLiteral("4-longer"), protocol(QStringLiteral("ndi hx"))));
    registry.addOrUpdate(device(QStringLiteral("5-none"), provider(QStringLiteral("ndi"))));
    DeviceListModel model(&registry, ListSide::Inputs);
    model.setProtocolFilter(filter);
    QTEST(rows(model), "expected");
}

void DeviceListModelTest::filtersByProvider()
{
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("1"), provider(QStringLiteral("mDNS"))));
    registry.addOrUpdate(device(QStringLiteral("2"), provider(QStringLiteral("ssdp"))));
    registry.addOrUpdate(device(QStringLiteral("3"), protocol(QStringLiteral("mdns"))));
    DeviceListModel model(&registry, ListSide::Inputs);
    model.setProviderFilter(QStringLiteral("MDNS"));
    QCOMPARE(rows(model), QStringList(QStringLiteral("device-id:1")));
    model.setProviderFilter(QStringLiteral("All Providers"));
    QCOMPARE(model.rowCount(), 3);
}

void DeviceListModelTest::filtersByStatus_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QStringList>("expected");

    const QString offline = QStringLiteral("device-id:offline");
    const QString online = QStringLiteral("device-id:online");
    QTest::newRow("any") << QStringLiteral("Any Status") << QStringList{offline, online};
    QTest::newRow("online") << QStringLiteral("Online") << QStringList{online};
    QTest::newRow("offline") << QStringLiteral("Offline") << QStringList{offline};
    QTest::newRow("letter case and blanks") << QStringLiteral(" OFFLINE ") << QStringList{offline};
    QTest::newRow("another word") << QStringLiteral("sleeping") << QStringList{offline, online};
}

void DeviceListModelTest::filtersByStatus()
{
    QFETCH(QString, filter);
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("online")));
    registry.addOrUpdate(
        device(QStringLiteral("offline"), [](DeviceRecord &record) { record.online = false; }));
    DeviceListModel model(&registry, ListSide::Inputs);
    model.setStatusFilter(filter);
    QTEST(rows(model), "expected");
}

void DeviceListModelTest::combinesAllFilters()
{
    const auto match = [](DeviceRecord &record) {
        record.displayName = QStringLiteral("Camera");
        record.protocol = QStringLiteral("rtsp");
        record.provider = QStringLiteral("mdns");
    };
    const auto matchBut = [&](const Change &change) -> Change {
        return [match, change](DeviceRecord &record) {
            match(record);
            change(record);
        };
    };
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("1"), match));
    registry.addOrUpdate(device(QStringLiteral("2"), matchBut(protocol(QStringLiteral("ndi")))));
    registry.addOrUpdate(device(QStringLiteral("3"), matchBut(provider(QStringLiteral("ssdp")))));
    registry.addOrUpdate(
        device(QStringLiteral("4"), matchBut([](DeviceRecord &record) { record.online = false; })));
    registry.addOrUpdate(device(QStringLiteral("5"), matchBut([](DeviceRecord &record) {
                                    record.displayName = QStringLiteral("Microphone");
                                })));
    registry.addOrUpdate(device(
        QStringLiteral("6"), matchBut([](DeviceRecord &record) { record.direction = Direction::output; })));
    DeviceListModel model(&registry, ListSide::Inputs);
    model.setSearchText(QStringLiteral("cam"));
    model.setStatusFilter(QStringLiteral("Online"));
    model.setProtocolFilter(QStringLiteral("rtsp"));
    model.setProviderFilter(QStringLiteral("mdns"));
    QCOMPARE(rows(model), QStringList(QStringLiteral("device-id:1")));
}

void DeviceListModelTest::keepsFiltersForLaterDevices()
{
    DeviceRegistry registry;
    DeviceListModel model(&registry, ListSide::Inputs);
    model.setProtocolFilter(QStringLiteral("ndi"));
    model.setSearchText(QStringLiteral("cam"));
    registry.addOrUpdate(device(QStringLiteral("cam-1"), protocol(QStringLiteral("ndi"))));
    registry.addOrUpdate(device(QStringLiteral("cam-2"), protocol(QStringLiteral("nmos"))));
    registry.addOrUpdate(device(QStringLiteral("mic-1"), protocol(QStringLiteral("ndi"))));
    QCOMPARE(rows(model), QStringList(QStringLiteral("device-id:cam-1")));
}

void DeviceListModelTest::ignoresAValueThatStands_data()
{
    QTest::addColumn<Setter>("setter");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");

    const QString none;
    const Setter search = &DeviceListModel::setSearchText;
    const Setter protocolSetter = &DeviceListModel::setProtocolFilter;
    const Setter providerSetter = &DeviceListModel::setProviderFilter;
    const Setter status = &DeviceListModel::setStatusFilter;
    QTest::newRow("search") << search << QStringLiteral("cam") << QStringLiteral("cam");
    QTest::newRow("search, empty") << search << none << QStringLiteral("");
    QTest::newRow("protocol") << protocolSetter << QStringLiteral("ndi") << QStringLiteral(" NDI");
    QTest::newRow("protocol, none") << protocolSetter << none << QStringLiteral("All Protocols");
    QTest::newRow("protocol, letter case")
        << protocolSetter << QStringLiteral("All Protocols") << QStringLiteral("ALL PROTOCOLS");
    QTest::newRow("provider") << providerSetter << QStringLiteral("mdns") << QStringLiteral("mDNS ");
    QTest::newRow("provider, none") << providerSetter << QStringLiteral("All")
                                    << QStringLiteral("all providers");
    QTest::newRow("status") << status << QStringLiteral("Online") << QStringLiteral("online");
    QTest::newRow("status, none") << status << none << QStringLiteral("Any Status");
}

void DeviceListModelTest::ignoresAValueThatStands()
{
    QFETCH(Setter, setter);
    QFETCH(QString, first);
    QFETCH(QString, second);
    DeviceRegistry registry;
    DeviceListModel model(&registry, ListSide::Inputs);
    (model.*setter)(first);
    QCOMPARE(resetsDuring(model, [&] { (model.*setter)(second); }), 0);
}

void DeviceListModelTest::rebuildsOncePerChangedValue()
{
    DeviceRegistry registry;
    DeviceListModel model(&registry, ListSide::Inputs);
    QCOMPARE(resetsDuring(model, [&] { model.setSearchText(QStringLiteral("a")); }), 1);
    QCOMPARE(resetsDuring(model, [&] { model.setSearchText(QStringLiteral("A")); }), 1);
    QCOMPARE(resetsDuring(model, [&] { model.setProtocolFilter(QStringLiteral("a")); }), 1);
    QCOMPARE(resetsDuring(model, [&] { model.setProviderFilter(QStringLiteral("a")); }), 1);
    QCOMPARE(resetsDuring(model, [&] { model.setStatusFilter(QStringLiteral("a")); }), 1);
    QCOMPARE(resetsDuring(model, [&] { model.setStatusFilter(QStringLiteral("Any Status")); }), 1);
}

void DeviceListModelTest::blankSearchTextCountsAsAChange()
{
    DeviceRegistry registry;
    registry.addOrUpdate(device(QStringLiteral("a")));
    DeviceListModel model(&registry, ListSide::Inputs);
    QCOMPARE(resetsDuring(model, [&] { model.setSearchText(QStringLiteral("  ")); }), 1);
    QCOMPARE(model.rowCount(), 1);
}

void DeviceListModelTest::normalizesFilterValues_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");

    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("blanks") << QStringLiteral(" \t") << QString();
    QTest::newRow("All") << QStringLiteral("All") << QString();
    QTest::newRow("All Protocols") << QStringLiteral("All Protocols") << QString();
    QTest::newRow("All Providers") << QStringLiteral("All Providers") << QString();
    QTest::newRow("Any Status") << QStringLiteral("Any Status") << QString();
    QTest::newRow("letter case and ends") << QStringLiteral("  aLL pRoToCoLs\n") << QString();
    QTest::newRow("two blanks inside")
        << QStringLiteral("All  Protocols") << QStringLiteral("all  protocols");
    QTest::newRow("Any") << QStringLiteral("Any") << QStringLiteral("any");
    QTest::newRow("a word") << QStringLiteral(" mDNS ") << QStringLiteral("mdns");
    QTest::newRow("beyond ASCII") << QStringLiteral("ÄÖ") << QStringLiteral("äö");
}

void DeviceListModelTest::normalizesFilterValues()
{
    QFETCH(QString, text);
    QTEST(normalizedFilterValue(text), "expected");
}

void DeviceListModelTest::namesADevice_data()
{
    QTest::addColumn<QString>("displayName");
    QTest::addColumn<QString>("hostname");
    QTest::addColumn<QString>("protocolWord");
    QTest::addColumn<QString>("providerWord");
    QTest::addColumn<QString>("expected");

    const QString none;
    const QString blank = QStringLiteral("  \t");
    const QString host = QStringLiteral("cam.local");
    const QString ndi = QStringLiteral("ndi");
    QTest::newRow("display name") << QStringLiteral("Camera") << host << ndi << none
                                  << QStringLiteral("Camera (NDI)");
    QTest::newRow("untrimmed") << QStringLiteral(" Camera ") << host << ndi << none
                               << QStringLiteral(" Camera  (NDI)");
    QTest::newRow("host name") << blank << host << ndi << none << QStringLiteral("cam.local (NDI)");
    QTest::newRow("stable key") << none << blank << ndi << none << QStringLiteral("device-id:id (NDI)");
    QTest::newRow("no protocol") << QStringLiteral("Camera") << host << none << none
                                 << QStringLiteral("Camera");
    QTest::newRow("blank protocol and provider")
        << none << none << blank << blank << QStringLiteral("device-id:id");
    QTest::newRow("provider") << QStringLiteral("Camera") << host << blank << QStringLiteral("mdns")
                              << QStringLiteral("Camera (mDNS)");
    QTest::newRow("percent signs") << QStringLiteral("%2 %1") << none << QStringLiteral("%1") << none
                                   << QStringLiteral("%2 %1 (%1)");
}

void DeviceListModelTest::namesADevice()
{
    QFETCH(QString, displayName);
    QFETCH(QString, hostname);
    QFETCH(QString, protocolWord);
    QFETCH(QString, providerWord);
    DeviceRecord record = device(QStringLiteral("ID"));
    record.displayName = displayName;
    record.hostname = hostname;
    record.protocol = protocolWord;
    record.provider = providerWord;
    QTEST(deviceListText(record), "expected");
}

void DeviceListModelTest::labelsProtocols_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("expected");

    const QList<QPair<const char *, const char *>> table{
        {"nmos", "NMOS"},        {"upnp", "DLNA"},
        {"upnp-dlna", "DLNA"},   {"upnpdlna", "DLNA"},
        {"dlna", "DLNA"},        {"ndi", "NDI"},
        {"onvif", "ONVIF"},      {"ssdp", "SSDP"},
        {"mdns", "mDNS"},        {"rtsp", "RTSP"},
        {"raop", "RAOP"},        {"sap", "AES67"},
        {"sap-aes67", "AES67"},  {"sapaes67", "AES67"},
        {"aes67", "AES67"},      {"airplay", "AirPlay"},
        {"cast", "Cast"},        {"apple-midi", "Apple MIDI"},
        {"chromecast", "Cast"},  {"googlecast", "Cast"},
        {"dante-hint", "Dante"}, {"spotify-connect", "Spotify"},
        {"http", "HTTP"},        {"https", "HTTPS"},
        {"xvq", "XVQ"},          {"streamlark", "Streamlark"},
        {"ember", "Ember+"},
    };
    for (const auto &[id, label] : table) {
        QTest::newRow(id) << QString::fromLatin1(id) << QString::fromLatin1(label);
    }
    QTest::newRow("stored in capitals") << QStringLiteral("AIRPLAY") << QStringLiteral("AirPlay");
    QTest::newRow("blanks at the ends") << QStringLiteral(" mDns\n") << QStringLiteral("mDNS");
    QTest::newRow("outside the table") << QStringLiteral(" Ravenna 2 ") << QStringLiteral("RAVENNA 2");
    QTest::newRow("outside by a character") << QStringLiteral("ndi-hx") << QStringLiteral("NDI-HX");
    QTest::newRow("nothing") << QString() << QString();
    QTest::newRow("blank") << QStringLiteral("  ") << QString();
}

void DeviceListModelTest::labelsProtocols()
{
    QFETCH(QString, source);
    DeviceRecord record;
    record.protocol = source;
    QTEST(protocolDisplayName(record), "expected");
}

void DeviceListModelTest::labelsTheProviderWithoutAProtocol_data()
{
    QTest::addColumn<QString>("protocolWord");
    QTest::addColumn<QString>("providerWord");
    QTest::addColumn<QString>("expected");

    QTest::newRow("protocol first") << QStringLiteral("rtsp") << QStringLiteral("mdns")
                                    << QStringLiteral("RTSP");
    QTest::newRow("no protocol") << QString() << QStringLiteral("Sap-Aes67") << QStringLiteral("AES67");
    QTest::newRow("blank protocol") << QStringLiteral(" ") << QStringLiteral(" roku ")
                                    << QStringLiteral("ROKU");
    QTest::newRow("neither") << QString() << QStringLiteral("\t") << QString();
}

void DeviceListModelTest::labelsTheProviderWithoutAProtocol()
{
    QFETCH(QString, protocolWord);
    QFETCH(QString, providerWord);
    DeviceRecord record;
    record.protocol = protocolWord;
    record.provider = providerWord;
    QTEST(protocolDisplayName(record), "expected");
}

void DeviceListModelTest::offersDistinctProtocols()
{
    DeviceRegistry registry;
    const DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(device(QStringLiteral("6"), protocol(QStringLiteral("ndi"))));
    registry.addOrUpdate(device(QStringLiteral("1"), protocol(QStringLiteral("upnp"))));
    registry.addOrUpdate(device(QStringLiteral("2"), protocol(QStringLiteral("NDI"))));
    registry.addOrUpdate(device(QStringLiteral("3"), protocol(QStringLiteral("airplay"))));
    registry.addOrUpdate(device(QStringLiteral("4"), protocol(QStringLiteral(" \t"))));
    registry.addOrUpdate(device(QStringLiteral("5"), protocol(QStringLiteral(" ndi "))));
    registry.addOrUpdate(device(QStringLiteral("7"), protocol(QStringLiteral("Onvif"))));
    // The first spelling by key, untrimmed, in an order that ignores letter case.
    QCOMPARE(model.availableProtocols(),
             QStringList({QStringLiteral(" ndi "), QStringLiteral("airplay"), QStringLiteral("NDI"),
                          QStringLiteral("Onvif"), QStringLiteral("upnp")}));
    QCOMPARE(model.availableProviders(), QStringList());
}

void DeviceListModelTest::offersDistinctProviders()
{
    DeviceRegistry registry;
    const DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(device(QStringLiteral("1"), provider(QStringLiteral("ssdp"))));
    registry.addOrUpdate(device(QStringLiteral("2"), provider(QStringLiteral("mDNS"))));
    registry.addOrUpdate(device(QStringLiteral("3"), provider(QStringLiteral("mdns"))));
    QCOMPARE(model.availableProviders(), QStringList({QStringLiteral("mDNS"), QStringLiteral("ssdp")}));
    QCOMPARE(model.availableProtocols(), QStringList());
}

void DeviceListModelTest::choicesIgnoreSideAndFilters()
{
    DeviceRegistry registry;
    DeviceListModel model(&registry, ListSide::Inputs);
    registry.addOrUpdate(device(QStringLiteral("1"), [](DeviceRecord &record) {
        record.direction = Direction::controlOnly;
        record.protocol = QStringLiteral("ember");
        record.provider = QStringLiteral("ember");
    }));
    registry.addOrUpdate(device(QStringLiteral("2"), [](DeviceRecord &record) {
        record.direction = Direction::output;
        record.protocol = QStringLiteral("cast");
        record.provider = QStringLiteral("mdns");
    }));
    model.setSearchText(QStringLiteral("nothing has this"));
    model.setProtocolFilter(QStringLiteral("ndi"));
    model.setProviderFilter(QStringLiteral("ndi"));
    model.setStatusFilter(QStringLiteral("offline"));
    QCOMPARE(model.rowCount(), 0);
    QCOMPARE(model.availableProtocols(), QStringList({QStringLiteral("cast"), QStringLiteral("ember")}));
    QCOMPARE(model.availableProviders(), QStringList({QStringLiteral("ember"), QStringLiteral("mdns")}));
}

QTEST_GUILESS_MAIN(DeviceListModelTest)
#include "device_list_model_test.moc"
