#include "discoverers/sap_aes67_discoverer.h"

#include <utility>

#include <QElapsedTimer>
#include <QHostAddress>
#include <QNetworkDatagram>
#include <QThread>
#include <QUdpSocket>
#include <QtTest>

#include "private_network.h"
#include "record_checks.h"

using namespace Sondrix;

Q_DECLARE_METATYPE(Sondrix::SapSession)

/// Runs in a network of its own (tests/private_network.sh).
class SapAes67DiscovererTest : public QObject
{
    Q_OBJECT

private slots:
    void isProviderSapAes67();
    void readsLineValue_data();
    void readsLineValue();
    void readsConnectionLine_data();
    void readsConnectionLine();
    void readsMediaLine_data();
    void readsMediaLine();
    void readsRtpmapLine_data();
    void readsRtpmapLine();
    void takesNoSession();
    void parsesWholeDescription();
    void parses_data();
    void parses();
    void keepsDescriptionWhole_data();
    void keepsDescriptionWhole();
    void readsHugeDescription();
    void choosesId_data();
    void choosesId();
    void fillsEveryField();
    void takesOneTimeForAllFields();
    void fillsFieldsOfPoorSession();
    void keepsPercentSigns();
    void givesDefaultRecord_data();
    void givesDefaultRecord();
    void runsOutInFull_data();
    void runsOutInFull();
    void hears_data();
    void hears();
    void beginsAtFirstVersionLine();
    void drops_data();
    void drops();
    void keepsOrderOfArrival();
    void keepsFirstOfASession_data();
    void keepsFirstOfASession();
    void staysCalmUnderGarbage();
    void hearsGreatestDatagram();
    void sharesPort();
    void joinsNoGroup();
    void hearsGroupOfAnotherListener();
    void sendsNothing();
    void remembersNothingBetweenScans();
    void clearsError();
    void takesNoErrorArgument();
    void reportsTakenPort();
};

namespace
{

constexpr int windowMs = 800;
constexpr quint16 port = 9875;

const QByteArray announcement =
    QByteArrayLiteral("v=0\r\n"
                      "o=- 1311738121 1311738121 IN IP4 192.168.1.1\r\n"
                      "s=Stage left I/O\r\n"
                      "c=IN IP4 239.69.1.2/32\r\n"
                      "t=0 0\r\n"
                      "a=keywds:Dante\r\n"
                      "m=audio 5004 RTP/AVP 97\r\n"
                      "i=2 channels: Left, Right\r\n"
                      "a=recvonly\r\n"
                      "a=rtpmap:97 L24/48000/2\r\n"
                      "a=ptime:1\r\n"
                      "a=ts-refclk:ptp=IEEE1588-2008:00-1D-C1-FF-FE-12-00-A4:0\r\n"
                      "a=mediaclk:direct=963214424\r\n");

// The first byte of a SAP header (RFC 2974, 3): version 1 and its flags.
constexpr char plain = '\x20';
constexpr char originIsIpv6 = '\x30';
constexpr char reserved = '\x28';
constexpr char deletion = '\x24';
constexpr char encrypted = '\x22';
constexpr char compressed = '\x21';

/// A session with the least that makes a record.
QByteArray session(const QByteArray &name, const QByteArray &address = "239.69.1.2")
{
    return "v=0\ns=" + name + "\nc=IN IP4 " + address + "\nm=audio 5004 RTP/AVP 97\n";
}

QByteArray sapHeader(char flags, const QByteArray &authentication = QByteArray())
{
    QByteArray header;
    header.append(flags).append(char(authentication.size() / 4)).append("\x12\x34");
    header.append((flags & 0x10) != 0 ? QByteArray(16, '\xfe') : QByteArray("\xc0\xa8\x01\x01", 4));
    return header + authentication;
}

QByteArray payloadType()
{
    return QByteArrayLiteral("application/sdp") + '\0';
}

SapSession sessionOf(const char *name, const char *address, int number)
{
    SapSession result;
    result.sessionName = QString::fromUtf8(name);
    result.connectionAddress = QString::fromUtf8(address);
    result.port = number;
    return result;
}

void compareSessions(const SapSession &actual, const SapSession &expected)
{
    QCOMPARE(actual.sessionName, expected.sessionName);
    QCOMPARE(actual.origin, expected.origin);
    QCOMPARE(actual.connectionAddress, expected.connectionAddress);
    QCOMPARE(actual.port, expected.port);
    QCOMPARE(actual.codec, expected.codec);
    QCOMPARE(actual.sampleRate, expected.sampleRate);
    QCOMPARE(actual.channels, expected.channels);
}

QStringList namesOf(const QList<DeviceRecord> &records)
{
    QStringList names;
    for (const DeviceRecord &record : records) {
        names.append(record.displayName);
    }
    return names;
}

/// Sends datagrams to the SAP port of this host once a scan listens there. It has a thread, as a
/// scan lets no event through.
class Announcer : public QThread
{
public:
    explicit Announcer(QList<QByteArray> datagrams,
                       const QHostAddress &address = QHostAddress(QHostAddress::LocalHost))
        : m_datagrams(std::move(datagrams)), m_address(address)
    {
        start();
    }

    ~Announcer() override
    {
        requestInterruption();
        wait();
    }

    Q_DISABLE_COPY_MOVE(Announcer)

    /// Whether everything was sent and nothing came back. To be asked once the scan is over.
    bool hasSentWithoutAnswer()
    {
        requestInterruption();
        wait();
        return m_hasSent && !m_isAnswered;
    }

protected:
    void run() override
    {
        while (!isListenedTo()) {
            if (isInterruptionRequested()) {
                return;
            }
            msleep(pollMs);
        }
        QUdpSocket socket;
        socket.bind(QHostAddress::AnyIPv4);
        socket.setMulticastInterface(loopbackInterface());
        m_hasSent = true;
        for (const QByteArray &datagram : std::as_const(m_datagrams)) {
            m_hasSent &= socket.writeDatagram(datagram, m_address, port) == datagram.size();
        }
        m_isAnswered = socket.waitForReadyRead(answerMs);
    }

private:
    static constexpr int pollMs = 5;
    static constexpr int answerMs = 200;

    /// Where nobody listens, the second write meets the refusal of the first.
    static bool isListenedTo()
    {
        QUdpSocket socket;
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
        return socket.write("?") == 1 && socket.write("?") == 1;
    }

    const QList<QByteArray> m_datagrams;
    const QHostAddress m_address;
    bool m_hasSent = false;    // read behind the end of the thread
    bool m_isAnswered = false; // read behind the end of the thread
};

QList<DeviceRecord> scanAmong(const QList<QByteArray> &datagrams)
{
    Announcer announcer(datagrams);
    const QList<DeviceRecord> records = SapAes67Discoverer().scan(nullptr);
    return announcer.hasSentWithoutAnswer() ? records : QList<DeviceRecord>();
}

} // namespace

void SapAes67DiscovererTest::isProviderSapAes67()
{
    const SapAes67Discoverer discoverer;
    QCOMPARE(discoverer.providerName(), QStringLiteral("sap-aes67"));
    QVERIFY(discoverer.isAvailable());
}

void SapAes67DiscovererTest::readsLineValue_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("value");

    const auto row = [](const char *name, const char *line, const char *prefix, const char *value) {
        QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(prefix)
                            << QString::fromUtf8(value);
    };
    row("value", "s=Stage", "s=", "Stage");
    row("white space around the value", "s= \tStage left ", "s=", "Stage left");
    row("no value", "s=", "s=", "");
    row("blanks alone", "s=   ", "s=", "");
    row("other line", "o=Stage", "s=", "");
    row("capital letter", "S=Stage", "s=", "");
    row("blank before the line", " s=Stage", "s=", "");
    row("blank before the equals sign", "s =Stage", "s=", "");
    row("equals sign in the value", "s=a=b", "s=", "a=b");
    row("prefix in the value", "s=s=s=", "s=", "s=s=");
    row("longer prefix", "a=rtpmap:97 L24", "a=rtpmap:", "97 L24");
    row("shorter line", "a=rtp", "a=rtpmap:", "");
    row("no line", "", "s=", "");
    row("no prefix", " a ", "", "a");
}

void SapAes67DiscovererTest::readsLineValue()
{
    QFETCH(QString, line);
    QFETCH(QString, prefix);
    QFETCH(QString, value);

    QCOMPARE(sdpLineValue(line, prefix), value);
}

void SapAes67DiscovererTest::readsConnectionLine_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("address");

    const auto row = [](const char *name, const char *line, const char *address) {
        QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(address);
    };
    row("address alone", "c=IN IP4 239.69.1.2", "239.69.1.2");
    row("time to live", "c=IN IP4 239.69.1.2/32", "239.69.1.2");
    row("time to live and count", "c=IN IP4 224.2.1.1/127/3", "224.2.1.1");
    row("IPv6", "c=IN IP6 FF15::101", "FF15::101");
    row("IPv6 and count", "c=IN IP6 FF15::101/3", "FF15::101");
    row("name", "c=IN IP4 Console.local", "Console.local");
    row("other network type", "c=ATM NSAP 47.0091", "47.0091");
    row("further parts", "c=IN IP4 10.0.0.1 10.0.0.2", "10.0.0.1");
    row("several blanks", "c=  IN   IP4  10.0.0.1 ", "10.0.0.1");
    row("tabs", "c=IN\tIP4\t10.0.0.1", "10.0.0.1");
    row("slash at once", "c=IN IP4 /32", "");
    row("slash at the end", "c=IN IP4 10.0.0.1/", "10.0.0.1");
    row("two parts", "c=IN IP4", "");
    row("one part", "c=IN", "");
    row("no part", "c=", "");
    row("other line", "o=IN IP4 10.0.0.1", "");
    row("capital letter", "C=IN IP4 10.0.0.1", "");
    row("no line", "", "");
    row("place-holder", "c=IN IP4 %1", "%1");
}

void SapAes67DiscovererTest::readsConnectionLine()
{
    QFETCH(QString, line);
    QFETCH(QString, address);

    QCOMPARE(parseConnectionLine(line), address);
}

void SapAes67DiscovererTest::readsMediaLine_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("number"); // 7 for what was there before

    const auto row = [](const char *name, const char *line, int number) {
        QTest::newRow(name) << QString::fromUtf8(line) << number;
    };
    row("audio", "m=audio 5004 RTP/AVP 97", 5004);
    row("two parts", "m=audio 5004", 5004);
    row("several blanks", "m=  audio   5004  RTP/AVP", 5004);
    row("tabs", "m=audio\t5004\tRTP/AVP", 5004);
    row("1", "m=audio 1 RTP/AVP 97", 1);
    row("leading zero", "m=audio 05004 RTP/AVP 97", 5004);
    row("beyond 16 bits", "m=audio 70000 RTP/AVP 97", 70000);
    row("greatest number", "m=audio 2147483647 RTP/AVP 97", 2147483647);
    row("beyond 32 bits", "m=audio 2147483648 RTP/AVP 97", 7);
    row("0", "m=audio 0 RTP/AVP 97", 7);
    row("negative", "m=audio -5004 RTP/AVP 97", 7);
    row("count behind a slash", "m=audio 5004/2 RTP/AVP 97", 7);
    row("hexadecimal", "m=audio 0x1f RTP/AVP 97", 7);
    row("fraction", "m=audio 5004.0 RTP/AVP 97", 7);
    row("no number", "m=audio port RTP/AVP 97", 7);
    row("no port", "m=audio", 7);
    row("no part", "m=", 7);
    row("video", "m=video 5004 RTP/AVP 97", 7);
    row("capitals", "m=Audio 5004 RTP/AVP 97", 7);
    row("longer word", "m=audiox 5004 RTP/AVP 97", 7);
    row("other line", "a=audio 5004 RTP/AVP 97", 7);
    row("no line", "", 7);
}

void SapAes67DiscovererTest::readsMediaLine()
{
    QFETCH(QString, line);
    QFETCH(int, number);

    SapSession expected = sessionOf("name", "address", number);
    expected.codec = QStringLiteral("L16");
    SapSession actual = expected;
    actual.port = 7;
    parseMediaLine(line, &actual);
    compareSessions(actual, expected);
}

void SapAes67DiscovererTest::readsRtpmapLine_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("codec");
    QTest::addColumn<int>("sampleRate"); // 7 and 9 for what was there before
    QTest::addColumn<int>("channels");

    const auto row = [](const char *name, const char *line, const char *codec, int sampleRate, int channels) {
        QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(codec) << sampleRate << channels;
    };
    row("all three", "a=rtpmap:97 L24/48000/2", "L24", 48000, 2);
    row("no channels", "a=rtpmap:97 L16/44100", "L16", 44100, 9);
    row("codec alone", "a=rtpmap:97 L16", "L16", 7, 9);
    row("further part", "a=rtpmap:97 L16/48000/8/x", "L16", 48000, 8);
    row("white space around the encoding", "a=rtpmap:97   L24/48000/2  ", "L24", 48000, 2);
    row("bad rate", "a=rtpmap:97 L24/48k/2", "L24", 7, 2);
    row("bad channels", "a=rtpmap:97 L24/48000/two", "L24", 48000, 9);
    row("empty rate", "a=rtpmap:97 L24//2", "L24", 7, 2);
    row("empty channels", "a=rtpmap:97 L24/48000/", "L24", 48000, 9);
    row("fraction", "a=rtpmap:97 L24/44100.5/2", "L24", 7, 2);
    row("0", "a=rtpmap:97 L24/0/0", "L24", 0, 0);
    row("negative", "a=rtpmap:97 L24/-1/-2", "L24", -1, -2);
    row("beyond 32 bits", "a=rtpmap:97 L24/4294967296/2147483648", "L24", 7, 9);
    row("empty codec", "a=rtpmap:97 /48000/2", "", 48000, 2);
    row("empty encoding", "a=rtpmap:97 ", "", 7, 9);
    row("codec in small letters", "a=rtpmap:97 l24/48000/2", "l24", 48000, 2);
    row("blank inside the encoding", "a=rtpmap:97 L24 x/48000", "L24 x", 48000, 9);
    row("no payload type", "a=rtpmap: L24/48000/2", "L24", 48000, 2);
    row("any payload type", "a=rtpmap:x/1/2 L24/48000/2", "L24", 48000, 2);
    row("no blank", "a=rtpmap:97", "before", 7, 9);
    row("no blank, but slashes", "a=rtpmap:97/48000/2", "before", 7, 9);
    row("other attribute", "a=fmtp:97 L24/48000/2", "before", 7, 9);
    row("capitals", "a=RTPMAP:97 L24/48000/2", "before", 7, 9);
    row("blank before the line", " a=rtpmap:97 L24/48000/2", "before", 7, 9);
    row("no line", "", "before", 7, 9);
    row("place-holders", "a=rtpmap:97 %1/48000/2", "%1", 48000, 2);
}

void SapAes67DiscovererTest::readsRtpmapLine()
{
    QFETCH(QString, line);
    QFETCH(QString, codec);
    QFETCH(int, sampleRate);
    QFETCH(int, channels);

    SapSession actual = sessionOf("name", "address", 5004);
    actual.codec = QStringLiteral("before");
    actual.sampleRate = 7;
    actual.channels = 9;
    SapSession expected = actual;
    expected.codec = codec;
    expected.sampleRate = sampleRate;
    expected.channels = channels;
    parseRtpmapLine(line, &actual);
    compareSessions(actual, expected);
}

void SapAes67DiscovererTest::takesNoSession()
{
    parseMediaLine(QStringLiteral("m=audio 5004 RTP/AVP 97"), nullptr);
    parseRtpmapLine(QStringLiteral("a=rtpmap:97 L24/48000/2"), nullptr);
}

void SapAes67DiscovererTest::parsesWholeDescription()
{
    const SapSession actual = parseSdpSession(announcement);
    SapSession expected = sessionOf("Stage left I/O", "239.69.1.2", 5004);
    expected.origin = QStringLiteral("- 1311738121 1311738121 IN IP4 192.168.1.1");
    expected.codec = QStringLiteral("L24");
    expected.sampleRate = 48000;
    expected.channels = 2;
    compareSessions(actual, expected);
    QCOMPARE(actual.sdp, QString::fromLatin1(announcement));
}

void SapAes67DiscovererTest::parses_data()
{
    QTest::addColumn<QByteArray>("sdp");
    QTest::addColumn<SapSession>("expected");

    const auto row = [](const char *name, const QByteArray &sdp, const char *sessionName, const char *address,
                        int number) {
        QTest::newRow(name) << sdp << sessionOf(sessionName, address, number);
    };
    row("nothing", "", "", "", 0);
    row("line feeds alone", "s=a\nc=IN IP4 b\nm=audio 1\n", "a", "b", 1);
    row("carriage returns and line feeds", "s=a\r\nc=IN IP4 b\r\nm=audio 1\r\n", "a", "b", 1);
    row("carriage returns alone are no line ends", "s=a\rc=IN IP4 b\rm=audio 1", "ac=IN IP4 bm=audio 1", "",
        0);
    row("carriage return inside a word", "s=a\rb\nc\r=IN IP4 b\nm=au\rdio 1", "ab", "b", 1);
    row("no line end at the end", "s=a\nc=IN IP4 b\nm=audio 1", "a", "b", 1);
    row("empty lines", "\n\ns=a\n \n\t\nc=IN IP4 b\n\r\n\nm=audio 1", "a", "b", 1);
    row("leading blanks", "  s=a\n\tc=IN IP4 b\n   m=audio 1", "a", "b", 1);
    row("any order", "m=audio 1\nc=IN IP4 b\ns=a\nv=0", "a", "b", 1);
    row("last name wins", "s=a\ns=b", "b", "", 0);
    row("last name wins, though empty", "s=a\ns=", "", "", 0);
    row("last address wins, whichever its section", "c=IN IP4 a\nm=audio 1\nm=video 2\nc=IN IP4 b", "", "b",
        1);
    row("last address wins, though too short", "c=IN IP4 a\nc=IN", "", "", 0);
    row("last audio port wins", "m=audio 1\nm=audio 2\nm=video 3", "", "", 2);
    row("bad port leaves the earlier one", "m=audio 1\nm=audio 5004/2\nm=audio 0", "", "", 1);
    row("capital letters", "S=a\nC=IN IP4 b\nM=audio 1", "", "", 0);
    row("other lines", "v=0\nt=0 0\ni=s=x\nb=AS:1\nk=c=IN IP4 x\nz=m=audio 1\na=s=x\n=s=x", "", "", 0);
    row("beyond ASCII", "s=B\xc3\xbchne \xf0\x9f\x8e\xa4\n", "B\xc3\xbchne \xf0\x9f\x8e\xa4", "", 0);
    row("broken UTF-8", "s=a\xff\n", "a\xef\xbf\xbd", "", 0);

    SapSession codec;
    codec.codec = QStringLiteral("AM824");
    codec.sampleRate = 44100;
    codec.channels = 2;
    QTest::newRow("last rtpmap wins, numbers stay")
        << QByteArrayLiteral("a=rtpmap:96 L24/48000/2\na=rtpmap:97 AM824/44100") << codec;
    SapSession origin;
    origin.origin = QStringLiteral("alice  1 2 IN IP4 x");
    QTest::newRow("origin") << QByteArrayLiteral("o=bob\no= alice  1 2 IN IP4 x ") << origin;
    SapSession nul = sessionOf("", "b", 0);
    nul.sessionName = QStringLiteral("a") + QChar(u'\0') + QStringLiteral("c");
    QTest::newRow("NUL byte") << QByteArrayLiteral("s=a\0c\nc=IN IP4 b") << nul;
}

void SapAes67DiscovererTest::parses()
{
    QFETCH(QByteArray, sdp);
    QFETCH(SapSession, expected);

    compareSessions(parseSdpSession(sdp), expected);
}

void SapAes67DiscovererTest::keepsDescriptionWhole_data()
{
    QTest::addColumn<QByteArray>("sdp");
    QTest::addColumn<QString>("text");

    QTest::newRow("nothing") << QByteArray() << QString();
    QTest::newRow("blanks and line ends at both ends")
        << QByteArrayLiteral(" \r\n v=0\r\n\ns=a\n \n") << QStringLiteral(" \r\n v=0\r\n\ns=a\n \n");
    QTest::newRow("beyond ASCII") << QByteArrayLiteral("s=B\xc3\xbchne") << QStringLiteral("s=B\u00fchne");
    QTest::newRow("NUL byte") << QByteArrayLiteral("a\0b")
                              << QString(QStringLiteral("a") + QChar(u'\0') + QStringLiteral("b"));
    QTest::newRow("no SDP") << QByteArrayLiteral("hello") << QStringLiteral("hello");
}

void SapAes67DiscovererTest::keepsDescriptionWhole()
{
    QFETCH(QByteArray, sdp);
    QFETCH(QString, text);

    QCOMPARE(parseSdpSession(sdp).sdp, text);
}

void SapAes67DiscovererTest::readsHugeDescription()
{
    QByteArray sdp = session("Stage");
    for (int i = 0; i < 10000; ++i) {
        sdp += "a=x:" + QByteArray(100, 'y') + "\n";
    }
    sdp += "s=" + QByteArray(100000, 'z') + "\n";
    const SapSession actual = parseSdpSession(sdp);
    QCOMPARE(actual.sessionName, QString(100000, QLatin1Char('z')));
    QCOMPARE(actual.connectionAddress, QStringLiteral("239.69.1.2"));
    QCOMPARE(actual.port, 5004);
    QCOMPARE(actual.sdp.size(), sdp.size());
}

void SapAes67DiscovererTest::choosesId_data()
{
    QTest::addColumn<SapSession>("session");
    QTest::addColumn<QString>("id");

    const auto row = [](const char *name, const SapSession &value, const char *id) {
        QTest::newRow(name) << value << QString::fromUtf8(id);
    };
    row("name", sessionOf("Stage", "239.69.1.2", 5004), "sap:stage:239.69.1.2:5004");
    row("name to be trimmed", sessionOf(" Stage Left\t", "239.69.1.2", 1), "sap:stage left:239.69.1.2:1");
    row("no name", sessionOf("", "239.69.1.2", 5004), "sap::239.69.1.2:5004");
    row("address as it stands", sessionOf("a", "FF15::101", 5004), "sap:a:FF15::101:5004");
    row("beyond ASCII", sessionOf("B\xc3\x9chne", "x", 5004), "sap:b\xc3\xbchne:x:5004");
    row("place-holders", sessionOf("%2 %1 %3", "%3", 5004), "sap:%2 %1 %3:%3:5004");
    row("nothing", SapSession(), "sap:::0");
    SapSession withOrigin = sessionOf("a", "b", 1);
    withOrigin.origin = QStringLiteral("- 1 1 IN IP4 10.0.0.1");
    row("origin plays no part", withOrigin, "sap:a:b:1");
}

void SapAes67DiscovererTest::choosesId()
{
    QFETCH(SapSession, session);
    QFETCH(QString, id);

    QCOMPARE(sapSessionId(session), id);
}

void SapAes67DiscovererTest::fillsEveryField()
{
    const QString text = QString::fromLatin1(announcement);
    DeviceRecord expected;
    expected.id = QStringLiteral("sap:stage left i/o:239.69.1.2:5004");
    expected.displayName = QStringLiteral("Stage left I/O");
    expected.hostname = QStringLiteral("239.69.1.2");
    expected.addresses = QStringList{QStringLiteral("239.69.1.2")};
    expected.provider = QStringLiteral("sap-aes67");
    expected.protocol = QStringLiteral("sap");
    expected.direction = Direction::input;
    expected.mediaKinds = MediaKind::audio | MediaKind::metadata;
    expected.ttlSeconds = 300;
    expected.protocolData = QJsonObject{
        {QStringLiteral("sap.origin"), QStringLiteral("- 1311738121 1311738121 IN IP4 192.168.1.1")},
        {QStringLiteral("sap.sessionName"), QStringLiteral("Stage left I/O")},
        {QStringLiteral("sap.sdp"), text},
        {QStringLiteral("aes67.codec"), QStringLiteral("L24")},
        {QStringLiteral("aes67.sampleRate"), 48000},
        {QStringLiteral("aes67.channels"), 2},
    };
    EndpointRecord endpoint;
    endpoint.id = QStringLiteral("sap:stage left i/o:239.69.1.2:5004:rtp");
    endpoint.label = QStringLiteral("Stage left I/O");
    endpoint.protocol = QStringLiteral("rtp");
    endpoint.url = QStringLiteral("rtp://239.69.1.2:5004");
    endpoint.direction = Direction::input;
    endpoint.mediaKinds = MediaKind::audio;
    endpoint.transport = QStringLiteral("RTP");
    endpoint.metadata = QVariantMap{
        {QStringLiteral("codec"), QStringLiteral("L24")},
        {QStringLiteral("sampleRate"), 48000},
        {QStringLiteral("channels"), 2},
        {QStringLiteral("sdp"), text},
    };
    expected.endpoints.append(endpoint);

    const DeviceRecord record = recordFromSapAnnouncement(announcement);
    compareRecords(record, expected);
    const QVariantMap metadata = record.endpoints.first().metadata;
    QCOMPARE(metadata.value(QStringLiteral("sampleRate")).type(), QVariant::Int);
    QCOMPARE(metadata.value(QStringLiteral("channels")).type(), QVariant::Int);
}

void SapAes67DiscovererTest::takesOneTimeForAllFields()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const DeviceRecord record = recordFromSapAnnouncement(announcement);
    QCOMPARE(record.endpoints.size(), 1);
    verifyOneTime(record, before);
}

void SapAes67DiscovererTest::fillsFieldsOfPoorSession()
{
    const DeviceRecord record = recordFromSapAnnouncement("c=IN IP6 FF15::101/3\nm=audio 5004");
    QCOMPARE(record.id, QStringLiteral("sap::FF15::101:5004"));
    QCOMPARE(record.displayName, QStringLiteral("FF15::101"));
    QCOMPARE(record.hostname, QStringLiteral("FF15::101"));
    QCOMPARE(record.addresses, QStringList{QStringLiteral("FF15::101")});
    QCOMPARE(record.ttlSeconds, 300);
    QCOMPARE(record.protocolData,
             (QJsonObject{{QStringLiteral("sap.origin"), QString()},
                          {QStringLiteral("sap.sessionName"), QString()},
                          {QStringLiteral("sap.sdp"), QStringLiteral("c=IN IP6 FF15::101/3\nm=audio 5004")},
                          {QStringLiteral("aes67.codec"), QString()},
                          {QStringLiteral("aes67.sampleRate"), 0},
                          {QStringLiteral("aes67.channels"), 0}}));
    QCOMPARE(record.endpoints.size(), 1);
    QCOMPARE(record.endpoints.first().label, QStringLiteral("FF15::101"));
    QCOMPARE(record.endpoints.first().url, QStringLiteral("rtp://FF15::101:5004"));
    QCOMPARE(record.endpoints.first().metadata,
             (QVariantMap{{QStringLiteral("codec"), QString()},
                          {QStringLiteral("sampleRate"), 0},
                          {QStringLiteral("channels"), 0},
                          {QStringLiteral("sdp"), QStringLiteral("c=IN IP6 FF15::101/3\nm=audio 5004")}}));
}

void SapAes67DiscovererTest::keepsPercentSigns()
{
    const DeviceRecord record = recordFromSapAnnouncement(session("%2%1", "%2"));
    QCOMPARE(record.id, QStringLiteral("sap:%2%1:%2:5004"));
    QCOMPARE(record.endpoints.first().id, QStringLiteral("sap:%2%1:%2:5004:rtp"));
    QCOMPARE(record.endpoints.first().url, QStringLiteral("rtp://%2:5004"));
}

void SapAes67DiscovererTest::givesDefaultRecord_data()
{
    QTest::addColumn<QByteArray>("sdp");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no address") << QByteArrayLiteral("v=0\ns=a\nm=audio 5004 RTP/AVP 97");
    QTest::newRow("address line too short")
        << QByteArrayLiteral("v=0\ns=a\nc=IN IP4\nm=audio 5004 RTP/AVP 97");
    QTest::newRow("no media") << QByteArrayLiteral("v=0\ns=a\nc=IN IP4 239.69.1.2");
    QTest::newRow("video alone") << QByteArrayLiteral(
        "v=0\ns=a\nc=IN IP4 239.69.1.2\nm=video 5004 RTP/AVP 97");
    QTest::newRow("port 0") << QByteArrayLiteral("v=0\ns=a\nc=IN IP4 239.69.1.2\nm=audio 0 RTP/AVP 97");
    QTest::newRow("port with a count")
        << QByteArrayLiteral("v=0\ns=a\nc=IN IP4 239.69.1.2\nm=audio 5004/2 RTP/AVP 97");
}

void SapAes67DiscovererTest::givesDefaultRecord()
{
    QFETCH(QByteArray, sdp);

    const DeviceRecord record = recordFromSapAnnouncement(sdp);
    compareRecords(record, DeviceRecord());
    QVERIFY(!record.firstSeen.isValid());
    QVERIFY(!record.lastSeen.isValid());
    QVERIFY(!record.lastChanged.isValid());
}

void SapAes67DiscovererTest::runsOutInFull_data()
{
    QTest::addColumn<QList<QByteArray>>("datagrams");

    QTest::newRow("silence") << QList<QByteArray>();
    QTest::newRow("one session") << QList<QByteArray>{announcement};
}

void SapAes67DiscovererTest::runsOutInFull()
{
    QFETCH(QList<QByteArray>, datagrams);

    QElapsedTimer elapsed;
    elapsed.start();
    QCOMPARE(scanAmong(datagrams).size(), datagrams.size());
    QVERIFY(elapsed.elapsed() >= windowMs);
}

void SapAes67DiscovererTest::hears_data()
{
    QTest::addColumn<QByteArray>("header");

    QTest::newRow("description alone") << QByteArray();
    QTest::newRow("header without payload type") << sapHeader(plain);
    QTest::newRow("header and payload type") << sapHeader(plain) + payloadType();
    QTest::newRow("origin in IPv6") << sapHeader(originIsIpv6) + payloadType();
    QTest::newRow("deletion") << sapHeader(deletion) + payloadType();
    QTest::newRow("reserved flag") << sapHeader(reserved) + payloadType();
    QTest::newRow("flags of encryption and compression alone")
        << sapHeader(char(encrypted | compressed)) + payloadType();
    QTest::newRow("authentication") << sapHeader(plain, QByteArray(8, '\xa5')) + payloadType();
    QTest::newRow("authentication shorter than its length")
        << QByteArray("\x20\xff\x12\x34", 4) + payloadType();
    QTest::newRow("other version") << sapHeader('\xe0') + payloadType();
    QTest::newRow("other payload type") << sapHeader(plain) + QByteArrayLiteral("text/plain") + '\0';
    QTest::newRow("no SAP") << QByteArrayLiteral("anything at all ");
}

void SapAes67DiscovererTest::hears()
{
    QFETCH(QByteArray, header);

    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QList<DeviceRecord> records = scanAmong({header + announcement});
    QCOMPARE(records.size(), 1);
    compareRecords(records.first(), recordFromSapAnnouncement(announcement));
    QCOMPARE(records.first().id, QStringLiteral("sap:stage left i/o:239.69.1.2:5004"));
    verifyOneTime(records.first(), before);
}

void SapAes67DiscovererTest::beginsAtFirstVersionLine()
{
    const QByteArray authentication = QByteArrayLiteral("v=0\nabcd");
    const QList<DeviceRecord> records =
        scanAmong({sapHeader(plain, authentication) + payloadType() + session("Stage")});
    QCOMPARE(namesOf(records), QStringList{QStringLiteral("Stage")});
    const QByteArray text = authentication + payloadType() + session("Stage");
    QCOMPARE(records.first().protocolData.value(QStringLiteral("sap.sdp")).toString(),
             QString::fromLatin1(text.constData(), text.size()));
}

void SapAes67DiscovererTest::drops_data()
{
    QTest::addColumn<QByteArray>("datagram");

    const QByteArray deflated = qCompress(announcement).mid(4); // without Qt's length in front
    QVERIFY(!deflated.contains("v=0"));
    QTest::newRow("compressed") << sapHeader(compressed) + payloadType() + deflated;
    QTest::newRow("encrypted") << sapHeader(encrypted) + QByteArray(200, '\xa5');
    QTest::newRow("no version line") << announcement.mid(5);
    QTest::newRow("version 1") << QByteArray(announcement).replace("v=0", "v=1");
    QTest::newRow("version line in capitals") << QByteArray(announcement).replace("v=0", "V=0");
    QTest::newRow("version line alone") << QByteArrayLiteral("v=0");
    QTest::newRow("video alone") << QByteArray(announcement).replace("m=audio", "m=video");
    QTest::newRow("no address") << QByteArray(announcement).replace("c=IN", "x=IN");
    QTest::newRow("header alone") << sapHeader(plain) + payloadType();
    QTest::newRow("empty") << QByteArray();
}

void SapAes67DiscovererTest::drops()
{
    QFETCH(QByteArray, datagram);

    QCOMPARE(namesOf(scanAmong({datagram, session("good")})), QStringList{QStringLiteral("good")});
}

void SapAes67DiscovererTest::keepsOrderOfArrival()
{
    QCOMPARE(namesOf(scanAmong({session("c"), session("a"), session("b")})),
             (QStringList{QStringLiteral("c"), QStringLiteral("a"), QStringLiteral("b")}));
}

void SapAes67DiscovererTest::keepsFirstOfASession_data()
{
    QTest::addColumn<QByteArray>("second");
    QTest::addColumn<int>("count");

    const QByteArray first = session("Stage");
    QTest::newRow("same") << first << 1;
    QTest::newRow("other letter case") << session("STAGE") << 1;
    QTest::newRow("other origin") << QByteArray(first).append("o=- 2 2 IN IP4 10.0.0.2\n") << 1;
    QTest::newRow("other codec") << QByteArray(first).append("a=rtpmap:97 L16/44100\n") << 1;
    QTest::newRow("time to live") << session("Stage", "239.69.1.2/32") << 1;
    QTest::newRow("deletion") << sapHeader(deletion) + payloadType() + first << 1;
    QTest::newRow("other name") << session("Stage 2") << 2;
    QTest::newRow("other address") << session("Stage", "239.69.1.3") << 2;
    QTest::newRow("other port") << QByteArray(first).replace("5004", "5006") << 2;
}

void SapAes67DiscovererTest::keepsFirstOfASession()
{
    QFETCH(QByteArray, second);
    QFETCH(int, count);

    const QByteArray first = session("Stage");
    const QList<DeviceRecord> records = scanAmong({first, second, second});
    QCOMPARE(records.size(), count);
    compareRecords(records.first(), recordFromSapAnnouncement(first));
}

void SapAes67DiscovererTest::staysCalmUnderGarbage()
{
    QByteArray noise(5000, '\0');
    for (int i = 0; i < noise.size(); ++i) {
        noise[i] = char(i * 7);
    }
    QList<QByteArray> datagrams{QByteArray(),
                                noise,
                                QByteArray(9000, '\xff'),
                                QByteArray(9000, '\n'),
                                "v=0" + noise,
                                "v=0\nc=IN IP4 " + noise,
                                QByteArrayLiteral("v="),
                                QByteArrayLiteral("v=0\nm=audio\na=rtpmap:\na=rtpmap: \ns\n=\nc=")};
    const QByteArray whole = session("Stage");
    for (int size = 1; size < whole.indexOf("5004"); ++size) {
        datagrams.append(whole.left(size));
    }
    datagrams.append(whole);
    QCOMPARE(namesOf(scanAmong(datagrams)), QStringList{QStringLiteral("Stage")});
}

void SapAes67DiscovererTest::hearsGreatestDatagram()
{
    constexpr int greatestPayload = 65507; // 65535 less the IPv4 and UDP headers
    QByteArray datagram = session("Stage");
    datagram += "a=" + QByteArray(greatestPayload - datagram.size() - 2, 'x');
    const QList<DeviceRecord> records = scanAmong({datagram});
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().protocolData.value(QStringLiteral("sap.sdp")).toString().size(),
             greatestPayload);
}

void SapAes67DiscovererTest::sharesPort()
{
    QUdpSocket listener;
    QVERIFY(
        listener.bind(QHostAddress::AnyIPv4, port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint));
    QString error;
    QVERIFY(SapAes67Discoverer().scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void SapAes67DiscovererTest::joinsNoGroup()
{
    Announcer announcer({announcement}, QHostAddress(QStringLiteral("239.255.255.255")));
    QVERIFY(SapAes67Discoverer().scan(nullptr).isEmpty());
    QVERIFY(announcer.hasSentWithoutAnswer());
}

void SapAes67DiscovererTest::hearsGroupOfAnotherListener()
{
    const QHostAddress group(QStringLiteral("239.255.255.255"));
    QUdpSocket listener; // at a port of its own: joining is for the host
    QVERIFY(listener.bind(QHostAddress(QHostAddress::AnyIPv4)));
    QVERIFY(listener.joinMulticastGroup(group, loopbackInterface()));
    Announcer announcer({announcement}, group);
    const QList<DeviceRecord> records = SapAes67Discoverer().scan(nullptr);
    QVERIFY(announcer.hasSentWithoutAnswer());
    QCOMPARE(namesOf(records), QStringList{QStringLiteral("Stage left I/O")});
}

void SapAes67DiscovererTest::sendsNothing()
{
    Announcer announcer({announcement, sapHeader(deletion) + announcement});
    QCOMPARE(SapAes67Discoverer().scan(nullptr).size(), 1);
    QVERIFY(announcer.hasSentWithoutAnswer());
}

void SapAes67DiscovererTest::remembersNothingBetweenScans()
{
    SapAes67Discoverer discoverer;
    for (int i = 0; i < 2; ++i) {
        Announcer announcer({announcement});
        QCOMPARE(discoverer.scan(nullptr).size(), 1);
        QVERIFY(announcer.hasSentWithoutAnswer());
    }
    QVERIFY(discoverer.scan(nullptr).isEmpty());
}

void SapAes67DiscovererTest::clearsError()
{
    QString error = QStringLiteral("left over");
    QVERIFY(SapAes67Discoverer().scan(&error).isEmpty());
    QCOMPARE(error, QString());
}

void SapAes67DiscovererTest::takesNoErrorArgument()
{
    Announcer announcer({announcement});
    QCOMPARE(SapAes67Discoverer().scan(nullptr).size(), 1);
    QVERIFY(announcer.hasSentWithoutAnswer());
}

void SapAes67DiscovererTest::reportsTakenPort()
{
    QUdpSocket owner;
    QVERIFY(owner.bind(QHostAddress::AnyIPv4, port, QUdpSocket::DontShareAddress));
    QUdpSocket second;
    QVERIFY(
        !second.bind(QHostAddress::AnyIPv4, port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint));

    QString error;
    QVERIFY(SapAes67Discoverer().scan(&error).isEmpty());
    QVERIFY(!error.isEmpty());
    QCOMPARE(error, second.errorString());
    QVERIFY(SapAes67Discoverer().scan(nullptr).isEmpty());
}

QTEST_GUILESS_MAIN(SapAes67DiscovererTest)
#include "sap_aes67_discoverer_test.moc"
