#include <algorithm>
#include <iterator>

#include <QMetaObject>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QPointer>
#include <QUdpSocket>
#include <QVector>

#include "datagram.h"
#include <qmdnsengine/dns.h>
#include <qmdnsengine/server.h>

namespace QMdnsEngine
{

namespace
{

// Hundreds of devices answer one question at the same time. The system may grant less.
constexpr int receiveBufferSize = 4 * 1024 * 1024;

// How much is read at one wake-up, so that a flood cannot keep the event loop from everything else:
// more than a full receive buffer. Each datagram counts as this much more than it holds.
constexpr qint64 maximumReadSize = 2 * qint64(receiveBufferSize);
constexpr qint64 datagramOverhead = 256;

// RFC 6762, 11.
constexpr int multicastHops = 255;

/// Empty if there is nothing in the message that a packet can hold.
QByteArray packetOf(const Message &message)
{
    constexpr int headerSize = 12;
    QByteArray packet;
    toPacket(message, packet);
    return packet.size() > headerSize ? packet : QByteArray();
}

QVector<QNetworkInterface> multicastInterfaces()
{
    QVector<QNetworkInterface> interfaces;
    const QList<QNetworkInterface> all = QNetworkInterface::allInterfaces();
    const QNetworkInterface::InterfaceFlags wanted =
        QNetworkInterface::IsUp | QNetworkInterface::IsRunning | QNetworkInterface::CanMulticast;
    std::copy_if(all.cbegin(), all.cend(), std::back_inserter(interfaces),
                 [&](const QNetworkInterface &candidate) { return (candidate.flags() & wanted) == wanted; });
    return interfaces;
}

QVector<Subnet> subnetsOf(const QVector<QNetworkInterface> &interfaces)
{
    QVector<Subnet> subnets;
    for (const QNetworkInterface &networkInterface : interfaces) {
        const QList<QNetworkAddressEntry> entries = networkInterface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            subnets.append(Subnet(entry.ip(), entry.prefixLength()));
        }
    }
    return subnets;
}

/// The socket of one IP protocol, and the interfaces that speak it.
class Channel
{
public:
    Channel(const QHostAddress &localAddress, const QHostAddress &group)
        : m_localAddress(localAddress), m_group(group)
    {
    }

    QUdpSocket *socket() { return &m_socket; }
    QAbstractSocket::NetworkLayerProtocol protocol() const { return m_group.protocol(); }

    bool open(const QVector<QNetworkInterface> &interfaces);
    void sendToGroup(const QByteArray &packet);
    void send(const QByteArray &packet, const QHostAddress &address, quint16 port);

private:
    const QHostAddress m_localAddress;
    const QHostAddress m_group;
    QUdpSocket m_socket;
    QVector<QNetworkInterface> m_interfaces;
};

/// Binds the socket and joins the group. An interface that cannot be joined can still send.
bool Channel::open(const QVector<QNetworkInterface> &interfaces)
{
    if (!m_socket.bind(m_localAddress, multicastDnsPort,
                       QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint)) {
        return false;
    }
    m_socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, receiveBufferSize);
    m_socket.setSocketOption(QAbstractSocket::MulticastTtlOption, multicastHops);
    for (const QNetworkInterface &networkInterface : interfaces) {
        const QList<QNetworkAddressEntry> entries = networkInterface.addressEntries();
        const bool speaksProtocol =
            std::any_of(entries.cbegin(), entries.cend(), [this](const QNetworkAddressEntry &entry) {
                return entry.ip().protocol() == protocol();
            });
        if (speaksProtocol) {
            m_socket.joinMulticastGroup(m_group, networkInterface);
            m_interfaces.append(networkInterface);
        }
    }
    return true;
}

void Channel::sendToGroup(const QByteArray &packet)
{
    for (const QNetworkInterface &networkInterface : qAsConst(m_interfaces)) {
        m_socket.setMulticastInterface(networkInterface);
        m_socket.writeDatagram(packet, m_group, multicastDnsPort);
    }
}

void Channel::send(const QByteArray &packet, const QHostAddress &address, quint16 port)
{
    if (m_socket.state() == QAbstractSocket::BoundState) {
        m_socket.writeDatagram(packet, address, port);
    }
}

} // namespace

class ServerPrivate : public QObject
{
public:
    explicit ServerPrivate(Server *server);

    void send(const Message &message);
    void sendToAll(const Message &message);

private:
    void open(Channel *channel, const QVector<QNetworkInterface> &interfaces);
    void read(Channel *channel);

    Server *const m_server;
    Channel m_ipv4;
    Channel m_ipv6;
    QVector<Subnet> m_localSubnets;
};

ServerPrivate::ServerPrivate(Server *server)
    : QObject(server)
    , m_server(server)
    , m_ipv4(QHostAddress(QHostAddress::AnyIPv4), QHostAddress(QStringLiteral("224.0.0.251")))
    , m_ipv6(QHostAddress(QHostAddress::AnyIPv6), QHostAddress(QStringLiteral("ff02::fb")))
{
    const QVector<QNetworkInterface> interfaces = multicastInterfaces();
    m_localSubnets = subnetsOf(interfaces);
    open(&m_ipv4, interfaces);
    open(&m_ipv6, interfaces);
}

void ServerPrivate::open(Channel *channel, const QVector<QNetworkInterface> &interfaces)
{
    if (channel->open(interfaces)) {
        connect(channel->socket(), &QUdpSocket::readyRead, this, [this, channel] { read(channel); });
        return;
    }
    // Nobody can be connected before the constructor returns.
    const QString text = channel->socket()->errorString();
    QMetaObject::invokeMethod(
        m_server, [server = m_server, text] { emit server->error(text); }, Qt::QueuedConnection);
}

/// Empties the socket before anything is treated, so that no answer is lost to a full buffer.
void ServerPrivate::read(Channel *channel)
{
    QVector<QNetworkDatagram> datagrams;
    qint64 readSize = 0;
    while (readSize < maximumReadSize && channel->socket()->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = channel->socket()->receiveDatagram();
        readSize += datagram.data().size() + datagramOverhead;
        datagrams.append(datagram);
    }
    // A slot may delete the server.
    const QPointer<Server> server = m_server;
    const QVector<Subnet> localSubnets = m_localSubnets;
    for (const QNetworkDatagram &datagram : qAsConst(datagrams)) {
        Message message;
        if (messageFromDatagram(datagram, localSubnets, &message)) {
            emit server->messageReceived(message);
        }
        if (server.isNull()) {
            return;
        }
    }
}

void ServerPrivate::send(const Message &message)
{
    const QByteArray packet = packetOf(message);
    if (!packet.isEmpty()) {
        Channel &channel = message.address().protocol() == QAbstractSocket::IPv6Protocol ? m_ipv6 : m_ipv4;
        channel.send(packet, message.address(), message.port());
    }
}

void ServerPrivate::sendToAll(const Message &message)
{
    const QByteArray packet = packetOf(message);
    if (!packet.isEmpty()) {
        m_ipv4.sendToGroup(packet);
        m_ipv6.sendToGroup(packet);
    }
}

Server::Server(QObject *parent) : AbstractServer(parent), m_private(new ServerPrivate(this)) {}

Server::~Server() = default;

void Server::sendMessage(const Message &message)
{
    m_private->send(message);
}

void Server::sendMessageToAll(const Message &message)
{
    m_private->sendToAll(message);
}

} // namespace QMdnsEngine
