#pragma once

#include <functional>
#include <utility>

#include <QByteArray>
#include <QDataStream>
#include <QHostAddress>
#include <QList>
#include <QNetworkDatagram>
#include <QObject>
#include <QUdpSocket>

#include "private_network.h"

// The few lines of DNS (RFC 1035) that a responder of the tests needs. They are written apart from
// the engine, so that no error of its codec can hide behind itself.

enum DnsType : quint16 { A = 1, PTR = 12, TXT = 16, AAAA = 28, SRV = 33 };

/// A name as its labels, which may hold dots.
using DnsName = QList<QByteArray>;

struct DnsQuestion {
    QByteArray name; ///< lower case, a dot behind each label
    quint16 type = 0;
};

struct DnsRecord {
    DnsName owner;
    quint16 type = 0;
    QByteArray data;
    quint32 ttl = 120;     ///< seconds; 0 says goodbye
    bool isUnique = false; ///< sets the cache-flush bit (RFC 6762, 10.2)
};

inline DnsName dnsName(const QByteArray &text)
{
    return text.split('.');
}

inline QByteArray dnsText(const DnsName &name)
{
    QByteArray text;
    for (const QByteArray &label : name) {
        text += label.toLower() + '.';
    }
    return text;
}

inline QByteArray dnsBytes(quint16 value)
{
    return QByteArray().append(char(value >> 8)).append(char(value & 0xff));
}

inline QByteArray dnsBytes(const DnsName &name)
{
    QByteArray bytes;
    for (const QByteArray &label : name) {
        bytes += QByteArray().append(char(label.size())) + label;
    }
    return bytes + QByteArray(1, '\0');
}

inline DnsRecord ptrRecord(const DnsName &type, const DnsName &instance)
{
    return {type, PTR, dnsBytes(instance)};
}

inline DnsRecord srvRecord(const DnsName &instance, quint16 port, const DnsName &host)
{
    return {instance, SRV, dnsBytes(quint16(0)) + dnsBytes(quint16(0)) + dnsBytes(port) + dnsBytes(host)};
}

inline DnsRecord txtRecord(const DnsName &instance, const QList<QByteArray> &strings)
{
    QByteArray data;
    for (const QByteArray &string : strings) {
        data += QByteArray().append(char(string.size())) + string;
    }
    return {instance, TXT, data.isEmpty() ? QByteArray(1, '\0') : data};
}

inline DnsRecord addressRecord(const DnsName &host, const char *text)
{
    const QHostAddress address(QString::fromLatin1(text));
    QByteArray data;
    QDataStream stream(&data, QIODevice::WriteOnly);
    if (address.protocol() == QAbstractSocket::IPv4Protocol) {
        stream << address.toIPv4Address();
        return {host, A, data};
    }
    const Q_IPV6ADDR bytes = address.toIPv6Address();
    stream.writeRawData(reinterpret_cast<const char *>(bytes.c), sizeof bytes.c);
    return {host, AAAA, data};
}

/// The record with the cache-flush bit: it replaces what was there before.
inline DnsRecord unique(DnsRecord record)
{
    record.isUnique = true;
    return record;
}

inline DnsRecord goodbye(DnsRecord record)
{
    record.ttl = 0;
    return record;
}

inline QByteArray dnsResponse(const QList<DnsRecord> &records)
{
    QByteArray packet;
    QDataStream stream(&packet, QIODevice::WriteOnly);
    stream << quint16(0) << quint16(0x8400) << quint16(0) << quint16(records.size()) << quint16(0)
           << quint16(0);
    for (const DnsRecord &record : records) {
        const QByteArray owner = dnsBytes(record.owner);
        stream.writeRawData(owner.constData(), owner.size());
        stream << record.type << quint16(record.isUnique ? 0x8001 : 1) << record.ttl
               << quint16(record.data.size());
        stream.writeRawData(record.data.constData(), record.data.size());
    }
    return packet;
}

inline bool isDnsResponse(const QByteArray &packet)
{
    return packet.size() > 2 && (packet.at(2) & 0x80) != 0;
}

/// The questions of a query; none for a response.
inline QList<DnsQuestion> dnsQuestions(const QByteArray &packet)
{
    constexpr int headerSize = 12;
    QList<DnsQuestion> questions;
    if (packet.size() < headerSize || isDnsResponse(packet)) {
        return questions;
    }
    const auto number = [&packet](int at) {
        return (quint8(packet.at(at)) << 8) | quint8(packet.at(at + 1));
    };
    int position = headerSize;
    for (int remaining = number(4); remaining > 0; --remaining) {
        DnsQuestion question;
        int end = -1; // behind the name, where a pointer has led elsewhere
        while (packet.at(position) != 0) {
            const int length = quint8(packet.at(position));
            if (length >= 0xc0) {
                end = end < 0 ? position + 2 : end;
                position = number(position) & 0x3fff;
            } else {
                question.name += packet.mid(position + 1, length).toLower() + '.';
                position += 1 + length;
            }
        }
        position = end < 0 ? position + 1 : end;
        question.type = quint16(number(position));
        position += 4;
        questions.append(question);
    }
    return questions;
}

/// The devices of a multicast DNS test on the loopback interface: keeps what is asked, and answers
/// by multicast from port 5353.
class MdnsResponder : public QObject
{
public:
    /// Gives the records that answer one question.
    using Answers = std::function<QList<DnsRecord>(const DnsQuestion &question)>;

    static constexpr quint16 port = 5353;

    explicit MdnsResponder(Answers answers = {}) : m_answers(std::move(answers))
    {
        m_isListening = m_socket.bind(QHostAddress::AnyIPv4, port,
                                      QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint) &&
                        m_socket.joinMulticastGroup(group(), loopbackInterface());
        m_socket.setMulticastInterface(loopbackInterface());
        connect(&m_socket, &QUdpSocket::readyRead, this, &MdnsResponder::readPending);
    }

    /// Answers from a list of records, by name and type.
    explicit MdnsResponder(const QList<DnsRecord> &zone)
        : MdnsResponder([zone](const DnsQuestion &question) {
            QList<DnsRecord> answers;
            for (const DnsRecord &record : zone) {
                if (record.type == question.type && dnsText(record.owner) == question.name) {
                    answers.append(record);
                }
            }
            return answers;
        })
    {
    }

    bool isListening() const { return m_isListening; }

    /// Every packet that has come, the responder's own too.
    QList<QByteArray> packets() const { return m_packets; }

    /// Every question that has come, in order.
    QList<DnsQuestion> questions() const { return m_questions; }

    /// How often a name was asked for.
    int count(const DnsName &name, quint16 type) const
    {
        int count = 0;
        for (const DnsQuestion &question : m_questions) {
            count += question.type == type && question.name == dnsText(name) ? 1 : 0;
        }
        return count;
    }

    void send(const QList<DnsRecord> &records) { sendPacket(dnsResponse(records)); }

    void sendPacket(const QByteArray &packet) { m_socket.writeDatagram(packet, group(), port); }

private:
    static QHostAddress group() { return QHostAddress(QStringLiteral("224.0.0.251")); }

    void readPending()
    {
        while (m_socket.hasPendingDatagrams()) {
            const QByteArray packet = m_socket.receiveDatagram().data();
            m_packets.append(packet);
            QList<DnsRecord> answers;
            const QList<DnsQuestion> questions = dnsQuestions(packet);
            for (const DnsQuestion &question : questions) {
                m_questions.append(question);
                if (m_answers) {
                    answers += m_answers(question);
                }
            }
            if (!answers.isEmpty()) {
                send(answers);
            }
        }
    }

    Answers m_answers;
    QUdpSocket m_socket;
    bool m_isListening = false;
    QList<QByteArray> m_packets;
    QList<DnsQuestion> m_questions;
};
