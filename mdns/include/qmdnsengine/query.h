#pragma once

#include <QByteArray>
#include <QMetaType>

namespace QMdnsEngine
{

/// One question of class IN.
class Query
{
public:
    QByteArray name() const { return m_name; }
    void setName(const QByteArray &name) { m_name = name; }

    /// A value of RecordType.
    quint16 type() const { return m_type; }
    void setType(quint16 type) { m_type = type; }

    /// Whether a unicast answer is wanted (RFC 6762, 5.4).
    bool unicastResponse() const { return m_unicastResponse; }
    void setUnicastResponse(bool unicastResponse) { m_unicastResponse = unicastResponse; }

    /// Whether all fields are equal, letter case included.
    friend bool operator==(const Query &a, const Query &b);
    friend bool operator!=(const Query &a, const Query &b) { return !(a == b); }

private:
    QByteArray m_name;
    quint16 m_type = 0;
    bool m_unicastResponse = false;
};

} // namespace QMdnsEngine

Q_DECLARE_METATYPE(QMdnsEngine::Query)
