#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QMap>
#include <QMetaType>

namespace QMdnsEngine
{

/// The record types that the engine reads and writes (RFC 1035, RFC 2782, RFC 3596, RFC 4034).
enum RecordType : quint16 {
    A = 1,
    PTR = 12,
    TXT = 16,
    AAAA = 28,
    SRV = 33,
    NSEC = 47,
    ANY = 255, ///< Matches every type, in questions and look-ups only.
};

/// One resource record of class IN. Only the fields of its own type say anything.
///
/// Here and everywhere in the engine a name is a byte string of labels that each end in a dot
/// ("host.local."), its bytes taken over as they are; the root name is empty.
class Record
{
public:
    QByteArray name() const { return m_name; }
    void setName(const QByteArray &name) { m_name = name; }

    /// A value of RecordType.
    quint16 type() const { return m_type; }
    void setType(quint16 type) { m_type = type; }

    /// Whether the record replaces all others of its name and type (RFC 6762, 10.2).
    bool flushCache() const { return m_flushCache; }
    void setFlushCache(bool flushCache) { m_flushCache = flushCache; }

    /// Time to live in seconds; 0 takes the record back (RFC 6762, 10.1).
    quint32 ttl() const { return m_ttl; }
    void setTtl(quint32 ttl) { m_ttl = ttl; }

    /// A, AAAA: the address.
    QHostAddress address() const { return m_address; }
    void setAddress(const QHostAddress &address) { m_address = address; }

    /// PTR: the name pointed to. SRV: the host name.
    QByteArray target() const { return m_target; }
    void setTarget(const QByteArray &target) { m_target = target; }

    /// NSEC: the next domain name, which multicast DNS sets to the record's own name.
    QByteArray nextDomainName() const { return m_nextDomainName; }
    void setNextDomainName(const QByteArray &name) { m_nextDomainName = name; }

    /// SRV.
    quint16 priority() const { return m_priority; }
    void setPriority(quint16 priority) { m_priority = priority; }

    /// SRV.
    quint16 weight() const { return m_weight; }
    void setWeight(quint16 weight) { m_weight = weight; }

    /// SRV.
    quint16 port() const { return m_port; }
    void setPort(quint16 port) { m_port = port; }

    /// TXT: keys and values (RFC 6763, 6.4). A key that stood without "=" has a null value.
    QMap<QByteArray, QByteArray> attributes() const { return m_attributes; }
    void setAttributes(const QMap<QByteArray, QByteArray> &attributes) { m_attributes = attributes; }
    void addAttribute(const QByteArray &key, const QByteArray &value) { m_attributes.insert(key, value); }

    /// NSEC: the bitmap of the types 0 to 255 that exist for the name, at most 32 bytes, most
    /// significant bit first (RFC 4034, 4.1.2).
    QByteArray bitmap() const { return m_bitmap; }
    void setBitmap(const QByteArray &bitmap) { m_bitmap = bitmap; }

    /// NSEC: whether the bitmap holds the type.
    bool bitmapHolds(quint16 type) const;

    /// Whether all fields are equal, letter case and a null attribute value included.
    friend bool operator==(const Record &a, const Record &b);
    friend bool operator!=(const Record &a, const Record &b) { return !(a == b); }

private:
    QByteArray m_name;
    quint16 m_type = 0;
    bool m_flushCache = false;
    quint32 m_ttl = 0;
    QHostAddress m_address;
    QByteArray m_target;
    QByteArray m_nextDomainName;
    quint16 m_priority = 0;
    quint16 m_weight = 0;
    quint16 m_port = 0;
    QMap<QByteArray, QByteArray> m_attributes;
    QByteArray m_bitmap;
};

} // namespace QMdnsEngine

Q_DECLARE_METATYPE(QMdnsEngine::Record)
