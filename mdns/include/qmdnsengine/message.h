#pragma once

#include <QHostAddress>
#include <QList>
#include <QMetaType>

#include <qmdnsengine/query.h>
#include <qmdnsengine/record.h>

namespace QMdnsEngine
{

/// One multicast DNS message: a query or a response, and whom it came from or goes to.
class Message
{
public:
    /// The sender of a received message, the receiver of one to be sent.
    QHostAddress address() const { return m_address; }
    void setAddress(const QHostAddress &address) { m_address = address; }

    /// The UDP port that belongs to address.
    quint16 port() const { return m_port; }
    void setPort(quint16 port) { m_port = port; }

    /// Always 0 in multicast messages (RFC 6762, 18.1).
    quint16 transactionId() const { return m_transactionId; }
    void setTransactionId(quint16 transactionId) { m_transactionId = transactionId; }

    bool isResponse() const { return m_isResponse; }
    void setResponse(bool isResponse) { m_isResponse = isResponse; }

    /// Whether more known answers follow in another message (RFC 6762, 7.2).
    bool isTruncated() const { return m_isTruncated; }
    void setTruncated(bool isTruncated) { m_isTruncated = isTruncated; }

    QList<Query> queries() const { return m_queries; }
    void addQuery(const Query &query) { m_queries.append(query); }

    /// The records of all sections, in the order of the message.
    QList<Record> records() const { return m_records; }
    void addRecord(const Record &record) { m_records.append(record); }

    /// Whether all fields, questions and records are equal, letter case included.
    friend bool operator==(const Message &a, const Message &b);
    friend bool operator!=(const Message &a, const Message &b) { return !(a == b); }

private:
    QHostAddress m_address;
    quint16 m_port = 0;
    quint16 m_transactionId = 0;
    bool m_isResponse = false;
    bool m_isTruncated = false;
    QList<Query> m_queries;
    QList<Record> m_records;
};

} // namespace QMdnsEngine

Q_DECLARE_METATYPE(QMdnsEngine::Message)
