#pragma once

#include <QList>
#include <QObject>

#include <qmdnsengine/record.h>

namespace QMdnsEngine
{

class CachePrivate;

/// Keeps records for their time to live. Its size is bounded: when it is full, the record that was
/// heard longest ago gives way.
class Cache : public QObject
{
    Q_OBJECT

public:
    explicit Cache(QObject *parent = nullptr);
    ~Cache() override;

    /// Adds the record, or starts its time to live anew if it is known. Obeys the cache-flush bit
    /// (RFC 6762, 10.2); a time to live of 0 lets a known record expire after one second (RFC 6762,
    /// 10.1) and adds nothing.
    void addRecord(const Record &record);

    /// Finds the record of that name and type that is known the longest. Names are compared without
    /// regard to ASCII case; the type ANY matches every type. Returns whether there is one.
    bool lookupRecord(const QByteArray &name, quint16 type, Record &record) const;

    /// Appends all records of that name and type to records, in the order in which they were heard.
    /// Returns whether there are any.
    bool lookupRecords(const QByteArray &name, quint16 type, QList<Record> &records) const;

    /// The records that a question for that name and type lists as known answers: those with at
    /// least half of their time to live ahead (RFC 6762, 7.1), their ttl being what is left of it.
    QList<Record> knownAnswers(const QByteArray &name, quint16 type) const;

signals:
    /// The record comes near to the end of its time to live and should be asked for again: goes out
    /// at 80, 85, 90 and 95 percent of it, and up to 2 percent later (RFC 6762, 5.2).
    void shouldQuery(const QMdnsEngine::Record &record);

    /// The record is no longer in the cache, as its time to live is over.
    void recordExpired(const QMdnsEngine::Record &record);

private:
    CachePrivate *const m_private;
};

} // namespace QMdnsEngine
