#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QString>

#include <qmdnsengine/abstractserver.h>
#include <qmdnsengine/message.h>
#include <qmdnsengine/query.h>
#include <qmdnsengine/record.h>

namespace MdnsTest
{

using Attributes = QMap<QByteArray, QByteArray>;

/// A server without a network: keeps what is sent and hands in what a test makes up.
class MemoryServer : public QMdnsEngine::AbstractServer
{
public:
    MemoryServer() { m_clock.start(); }

    void sendMessage(const QMdnsEngine::Message &message) override { sent.append(message); }

    void sendMessageToAll(const QMdnsEngine::Message &message) override
    {
        sent.append(message);
        sentAtMs.append(m_clock.elapsed());
    }

    void deliver(const QList<QMdnsEngine::Record> &records)
    {
        QMdnsEngine::Message message;
        message.setResponse(true);
        message.setAddress(QHostAddress(QStringLiteral("192.0.2.1")));
        message.setPort(5353);
        for (const QMdnsEngine::Record &record : records) {
            message.addRecord(record);
        }
        emit messageReceived(message);
    }

    /// How often the question was sent.
    int timesAsked(const QByteArray &name, quint16 type) const
    {
        int times = 0;
        for (const QMdnsEngine::Message &message : sent) {
            const QList<QMdnsEngine::Query> queries = message.queries();
            for (const QMdnsEngine::Query &query : queries) {
                times += query.name() == name && query.type() == type ? 1 : 0;
            }
        }
        return times;
    }

    QList<QMdnsEngine::Message> sent;
    QList<qint64> sentAtMs; // when sendMessageToAll() was called

private:
    QElapsedTimer m_clock;
};

inline QMdnsEngine::Record record(const QByteArray &name, quint16 type, quint32 ttl)
{
    QMdnsEngine::Record record;
    record.setName(name);
    record.setType(type);
    record.setTtl(ttl);
    return record;
}

inline QMdnsEngine::Record ptr(const QByteArray &name, const QByteArray &target, quint32 ttl = 4500)
{
    QMdnsEngine::Record result = record(name, QMdnsEngine::PTR, ttl);
    result.setTarget(target);
    return result;
}

inline QMdnsEngine::Record srv(const QByteArray &name, const QByteArray &host, quint16 port,
                               quint32 ttl = 120)
{
    QMdnsEngine::Record result = record(name, QMdnsEngine::SRV, ttl);
    result.setFlushCache(true);
    result.setTarget(host);
    result.setPort(port);
    return result;
}

inline QMdnsEngine::Record txt(const QByteArray &name, const Attributes &attributes, quint32 ttl = 4500)
{
    QMdnsEngine::Record result = record(name, QMdnsEngine::TXT, ttl);
    result.setFlushCache(true);
    result.setAttributes(attributes);
    return result;
}

/// An A or an AAAA record, as the address has it, without the cache-flush bit.
inline QMdnsEngine::Record address(const QByteArray &name, const QString &text, quint32 ttl = 120)
{
    const QHostAddress value(text);
    const bool isIpv6 = value.protocol() == QAbstractSocket::IPv6Protocol;
    QMdnsEngine::Record result = record(name, isIpv6 ? QMdnsEngine::AAAA : QMdnsEngine::A, ttl);
    result.setAddress(value);
    return result;
}

/// The bitmap is given in hexadecimal digits.
inline QMdnsEngine::Record nsec(const QByteArray &name, const QByteArray &bitmap, quint32 ttl = 120)
{
    QMdnsEngine::Record result = record(name, QMdnsEngine::NSEC, ttl);
    result.setFlushCache(true);
    result.setNextDomainName(name);
    result.setBitmap(QByteArray::fromHex(bitmap));
    return result;
}

} // namespace MdnsTest
