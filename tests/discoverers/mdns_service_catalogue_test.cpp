#include "discoverers/mdns_service_catalogue.h"

#include <QtTest>

using namespace Sondrix;

Q_DECLARE_METATYPE(Sondrix::Direction)
Q_DECLARE_METATYPE(Sondrix::MediaKinds)

class MdnsServiceCatalogueTest : public QObject
{
    Q_OBJECT

private slots:
    void holdsItsRows_data();
    void holdsItsRows();
    void holdsNoOtherRow();
    void hasNoMetaQuery();
    void normalizes_data();
    void normalizes();
    void findsTypes_data();
    void findsTypes();
    void findsFirstRow();
    void findsRowThatIsNotNormalized();
    void givesGenericRow_data();
    void givesGenericRow();
};

void MdnsServiceCatalogueTest::holdsItsRows_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("serviceType");
    QTest::addColumn<QString>("protocol");
    QTest::addColumn<Direction>("direction");
    QTest::addColumn<MediaKinds>("mediaKinds");

    const MediaKinds control = MediaKind::control;
    const MediaKinds audioControl = MediaKind::audio | MediaKind::control;
    const MediaKinds audioVideo = MediaKind::audio | MediaKind::video;
    const MediaKinds all = MediaKind::audio | MediaKind::video | MediaKind::control;
    int index = 0;
    const auto row = [&index](const char *serviceType, const char *protocol, Direction direction,
                              MediaKinds kinds) {
        QTest::newRow(serviceType) << index << QString::fromLatin1(serviceType)
                                   << QString::fromLatin1(protocol) << direction << kinds;
        ++index;
    };
    row("_nmos-node._tcp.local.", "nmos", Direction::inputOutput, all);
    row("_nmos-query._tcp.local.", "nmos", Direction::controlOnly, control);
    row("_nmos-registration._tcp.local.", "nmos", Direction::controlOnly, control);
    row("_googlecast._tcp.local.", "cast", Direction::output, all);
    row("_airplay._tcp.local.", "airplay", Direction::output, all);
    row("_raop._tcp.local.", "raop", Direction::output, audioControl);
    row("_spotify-connect._tcp.local.", "spotify-connect", Direction::controlOnly, audioControl);
    row("_rtsp._tcp.local.", "rtsp", Direction::input, audioVideo);
    row("_ndi._tcp.local.", "ndi", Direction::input, audioVideo);
    row("_apple-midi._udp.local.", "apple-midi", Direction::controlOnly, audioControl);
    row("_netaudio-arc._udp.local.", "dante-hint", Direction::controlOnly, audioControl);
    row("_netaudio-chan._udp.local.", "dante-hint", Direction::controlOnly, audioControl);
    row("_netaudio-cmc._udp.local.", "dante-hint", Direction::controlOnly, audioControl);
    row("_netaudio-dbc._udp.local.", "dante-hint", Direction::controlOnly, audioControl);
    row("_dante-safe._udp.local.", "dante-hint", Direction::controlOnly, audioControl);
    row("_dante-upgr._udp.local.", "dante-hint", Direction::controlOnly, audioControl);
    row("_http._tcp.local.", "http", Direction::controlOnly, control);
    row("_https._tcp.local.", "https", Direction::controlOnly, control);
    row("_corvane._tcp.local.", "corvane", Direction::controlOnly, control);
    row("_xvq._tcp.local.", "xvq", Direction::inputOutput, all);
    row("_streamlark._tcp.local.", "streamlark", Direction::controlOnly, control);
}

void MdnsServiceCatalogueTest::holdsItsRows()
{
    QFETCH(int, index);
    QFETCH(QString, serviceType);
    QFETCH(QString, protocol);
    QFETCH(Direction, direction);
    QFETCH(MediaKinds, mediaKinds);

    const MdnsServiceType row = defaultMdnsServices().value(index);
    QCOMPARE(row.serviceType, serviceType);
    QCOMPARE(row.protocol, protocol);
    QCOMPARE(row.direction, direction);
    QCOMPARE(row.mediaKinds, mediaKinds);
}

void MdnsServiceCatalogueTest::holdsNoOtherRow()
{
    QCOMPARE(defaultMdnsServices().size(), 21);
}

void MdnsServiceCatalogueTest::hasNoMetaQuery()
{
    const QList<MdnsServiceType> catalogue = defaultMdnsServices();
    for (const MdnsServiceType &row : catalogue) {
        QVERIFY(!row.serviceType.contains(QLatin1String("_dns-sd")));
    }
}

void MdnsServiceCatalogueTest::normalizes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("normalized");

    const auto row = [](const char *name, const char *text, const char *normalized) {
        QTest::newRow(name) << QString::fromUtf8(text) << QString::fromUtf8(normalized);
    };
    row("normalized already", "_http._tcp.local.", "_http._tcp.local.");
    row("no dot", "_http._tcp.local", "_http._tcp.local.");
    row("capitals", "_HTTP._Tcp.LOCAL.", "_http._tcp.local.");
    row("white space around", " \t_http._tcp.local\r\n", "_http._tcp.local.");
    row("white space before the dot", "_http._tcp.local .", "_http._tcp.local .");
    row("two dots", "_http._tcp.local..", "_http._tcp.local..");
    row("beyond ASCII", "_\u00c4", "_\u00e4.");
    row("dot alone", ".", ".");
    row("blank", "  ", ".");
    row("empty", "", ".");
}

void MdnsServiceCatalogueTest::normalizes()
{
    QFETCH(QString, text);
    QFETCH(QString, normalized);

    QCOMPARE(normalizeServiceType(text), normalized);
}

void MdnsServiceCatalogueTest::findsTypes_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("serviceType");

    const QString http = QStringLiteral("_http._tcp.local.");
    QTest::newRow("as it stands") << http << http;
    QTest::newRow("no dot") << QStringLiteral("_http._tcp.local") << http;
    QTest::newRow("capitals") << QStringLiteral("_HTTP._TCP.local.") << http;
    QTest::newRow("white space around") << QStringLiteral(" _http._tcp.local. ") << http;
    QTest::newRow("longer name") << QStringLiteral("_https._tcp.local.")
                                 << QStringLiteral("_https._tcp.local.");
    QTest::newRow("first row") << QStringLiteral("_nmos-node._tcp.local.")
                               << QStringLiteral("_nmos-node._tcp.local.");
    QTest::newRow("last row") << QStringLiteral("_streamlark._tcp.local.")
                              << QStringLiteral("_streamlark._tcp.local.");
}

void MdnsServiceCatalogueTest::findsTypes()
{
    QFETCH(QString, type);
    QFETCH(QString, serviceType);

    const MdnsServiceType row = findServiceType(defaultMdnsServices(), type);
    QCOMPARE(row.serviceType, serviceType);
    QVERIFY(row.protocol != QLatin1String("mdns"));
}

void MdnsServiceCatalogueTest::findsFirstRow()
{
    const MdnsServiceType first{QStringLiteral("_a._tcp.local."), QStringLiteral("first"), Direction::input,
                                MediaKind::video};
    MdnsServiceType second = first;
    second.protocol = QStringLiteral("second");
    QCOMPARE(findServiceType({first, second}, first.serviceType).protocol, QStringLiteral("first"));
}

void MdnsServiceCatalogueTest::findsRowThatIsNotNormalized()
{
    const MdnsServiceType row{QStringLiteral(" _A._TCP.Local"), QStringLiteral("a"), Direction::output,
                              MediaKind::metadata};
    const MdnsServiceType found = findServiceType({row}, QStringLiteral("_a._tcp.local."));
    QCOMPARE(found.serviceType, row.serviceType);
    QCOMPARE(found.protocol, row.protocol);
    QCOMPARE(found.direction, row.direction);
    QCOMPARE(found.mediaKinds, row.mediaKinds);
}

void MdnsServiceCatalogueTest::givesGenericRow_data()
{
    QTest::addColumn<QString>("type");

    QTest::newRow("unknown type") << QStringLiteral("_ipp._tcp.local.");
    QTest::newRow("other protocol") << QStringLiteral("_http._udp.local.");
    QTest::newRow("other domain") << QStringLiteral("_http._tcp.example.");
    QTest::newRow("subtype") << QStringLiteral("_printer._sub._http._tcp.local.");
    QTest::newRow("two dots") << QStringLiteral("_http._tcp.local..");
    QTest::newRow("not normalized") << QStringLiteral(" _IPP._tcp.local ");
    QTest::newRow("empty") << QString();
}

void MdnsServiceCatalogueTest::givesGenericRow()
{
    QFETCH(QString, type);

    const MdnsServiceType row = findServiceType(defaultMdnsServices(), type);
    QCOMPARE(row.serviceType, type);
    QCOMPARE(row.protocol, QStringLiteral("mdns"));
    QCOMPARE(row.direction, Direction::controlOnly);
    QCOMPARE(row.mediaKinds, MediaKinds(MediaKind::control));
}

QTEST_GUILESS_MAIN(MdnsServiceCatalogueTest)
#include "mdns_service_catalogue_test.moc"
