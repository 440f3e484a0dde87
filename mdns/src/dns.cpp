#include <algorithm>
#include <string_view>
#include <utility>

#include <QHash>
#include <QSet>
#include <QtEndian>

#include "names.h"
#include <qmdnsengine/dns.h>
#include <qmdnsengine/message.h>

namespace QMdnsEngine
{

namespace
{

constexpr int headerSize = 12;
constexpr int maximumLabelSize = 63;
constexpr int maximumNameSize = 255; // on the wire, length octets and the root label included
constexpr int maximumCount = 0xffff;
constexpr int maximumDataSize = 0xffff;
constexpr int maximumStringSize = 255;
constexpr int maximumBitmapSize = 32;
constexpr int highestPointerTarget = 0x3fff;
// A name holds at most 127 labels, and a pointer that leads to no label is of no use.
constexpr int maximumPointers = 127;

constexpr int ipv6AddressSize = 16;

constexpr quint16 responseFlag = 0x8000;
constexpr quint16 operationCodeMask = 0x7800;
constexpr quint16 authoritativeFlag = 0x0400;
constexpr quint16 truncatedFlag = 0x0200;
constexpr quint16 responseCodeMask = 0x000f;

constexpr quint16 internetClass = 1;
constexpr quint16 anyClass = 255;
// Cache-flush in records, unicast response in questions (RFC 6762, 18.12 and 18.13).
constexpr quint16 classTopBit = 0x8000;

/// What became of a name.
enum class NameReading {
    Good,
    Unusable, ///< Malformed or not representable, but the reader stands behind it.
    Endless,  ///< Nothing tells where the name ends.
};

/// Whether labels with this text can be told from each other once they are joined by dots.
bool isRepresentable(std::string_view label)
{
    return label.front() != '.' && label.back() != '.' && label.find("..") == std::string_view::npos;
}

/// Walks through a packet and never past an end. Every read function returns false, or Endless, if
/// what it wants goes past that end.
class Reader
{
public:
    /// Reads from begin up to, and not including, end.
    Reader(const QByteArray *packet, int begin, int end) : m_packet(packet), m_position(begin), m_end(end) {}

    int position() const { return m_position; }
    bool atEnd() const { return m_position == m_end; }

    template<typename Integer>
    bool read(Integer *value)
    {
        if (m_end - m_position < int(sizeof(Integer))) {
            return false;
        }
        *value = qFromBigEndian<Integer>(m_packet->constData() + m_position);
        m_position += int(sizeof(Integer));
        return true;
    }

    /// The bytes are part of the packet.
    bool read(int size, std::string_view *bytes)
    {
        if (m_end - m_position < size) {
            return false;
        }
        *bytes = std::string_view(m_packet->constData() + m_position, std::size_t(size));
        m_position += size;
        return true;
    }

    bool skip(int size)
    {
        if (m_end - m_position < size) {
            return false;
        }
        m_position += size;
        return true;
    }

    NameReading readName(QByteArray *name);

private:
    const QByteArray *m_packet;
    int m_position;
    int m_end;
};

NameReading Reader::readName(QByteArray *name)
{
    name->clear();
    // Up to the first pointer the name stands in the reader's own range; behind it, anywhere before.
    Reader labels = *this;
    int segmentStart = m_position;
    int pointers = 0;
    bool usable = true;
    const auto cutShort = [&] { return pointers > 0 ? NameReading::Unusable : NameReading::Endless; };

    for (;;) {
        quint8 length = 0;
        if (!labels.read(&length)) {
            return cutShort();
        }
        if ((length & 0xc0) == 0xc0) {
            quint8 low = 0;
            if (!labels.read(&low)) {
                return cutShort();
            }
            if (pointers == 0) {
                m_position = labels.position();
            }
            // Each segment starts before the one that points to it, so that there can be no loop.
            const int target = (length & 0x3f) << 8 | low;
            if (target < headerSize || target >= segmentStart || ++pointers > maximumPointers) {
                return NameReading::Unusable;
            }
            segmentStart = target;
            labels = Reader(m_packet, target, m_packet->size());
        } else if (length > maximumLabelSize) {
            return cutShort();
        } else if (length > 0) {
            std::string_view label;
            if (!labels.read(length, &label)) {
                return cutShort();
            }
            // The text is as long as the name on the wire without its root label.
            const bool fits = name->size() + length + 1 < maximumNameSize;
            usable = usable && fits && isRepresentable(label);
            if (usable) {
                name->append(label.data(), length).append('.');
            } else if (pointers > 0) {
                return NameReading::Unusable;
            }
        } else {
            if (pointers == 0) {
                m_position = labels.position();
            }
            return usable ? NameReading::Good : NameReading::Unusable;
        }
    }
}

/// Not null, also if it is empty.
QByteArray toByteArray(std::string_view bytes)
{
    return QByteArray(bytes.data(), int(bytes.size()));
}

/// Reads the strings of a TXT record (RFC 6763, 6.4).
bool readAttributes(Reader *data, Record *record)
{
    QMap<QByteArray, QByteArray> attributes;
    QSet<QByteArray> foldedKeys;
    while (!data->atEnd()) {
        quint8 length = 0;
        std::string_view text;
        if (!data->read(&length) || !data->read(length, &text)) {
            return false;
        }
        const std::size_t equalsSign = text.find('=');
        const QByteArray key = toByteArray(text.substr(0, equalsSign));
        const QByteArray foldedKey = foldedName(key);
        if (key.isEmpty() || foldedKeys.contains(foldedKey)) {
            continue;
        }
        foldedKeys.insert(foldedKey);
        const bool hasValue = equalsSign != std::string_view::npos;
        attributes.insert(key, hasValue ? toByteArray(text.substr(equalsSign + 1)) : QByteArray());
    }
    record->setAttributes(attributes);
    return true;
}

/// Reads the window blocks of an NSEC record (RFC 4034, 4.1.2) and keeps block 0, the only one that
/// multicast DNS uses (RFC 6762, 6.1).
bool readBitmap(Reader *data, Record *record)
{
    int lastBlock = -1;
    while (!data->atEnd()) {
        quint8 block = 0;
        quint8 length = 0;
        std::string_view bitmap;
        if (!data->read(&block) || !data->read(&length) || !data->read(length, &bitmap) ||
            block <= lastBlock || length == 0 || length > maximumBitmapSize) {
            return false;
        }
        if (block == 0) {
            record->setBitmap(toByteArray(bitmap));
        }
        lastBlock = block;
    }
    return true;
}

bool readTarget(Reader *data, Record *record)
{
    QByteArray target;
    if (data->readName(&target) != NameReading::Good) {
        return false;
    }
    record->setTarget(target);
    return true;
}

/// Reads the data of a record whose type is set. Returns false if it is malformed, if it does not
/// fill its length, and for types that the engine does not know.
bool readData(Reader *data, Record *record)
{
    switch (record->type()) {
    case A: {
        quint32 address = 0;
        if (!data->read(&address)) {
            return false;
        }
        record->setAddress(QHostAddress(address));
        break;
    }
    case AAAA: {
        std::string_view address;
        if (!data->read(ipv6AddressSize, &address)) {
            return false;
        }
        record->setAddress(QHostAddress(reinterpret_cast<const quint8 *>(address.data())));
        break;
    }
    case PTR:
        if (!readTarget(data, record)) {
            return false;
        }
        break;
    case SRV: {
        quint16 priority = 0;
        quint16 weight = 0;
        quint16 port = 0;
        if (!data->read(&priority) || !data->read(&weight) || !data->read(&port) ||
            !readTarget(data, record)) {
            return false;
        }
        record->setPriority(priority);
        record->setWeight(weight);
        record->setPort(port);
        break;
    }
    case TXT:
        if (!readAttributes(data, record)) {
            return false;
        }
        break;
    case NSEC: {
        QByteArray nextDomainName;
        if (data->readName(&nextDomainName) != NameReading::Good || !readBitmap(data, record)) {
            return false;
        }
        record->setNextDomainName(nextDomainName);
        break;
    }
    default:
        return false;
    }
    return data->atEnd();
}

/// A question has no length field, so any fault in it costs the packet.
bool readQuery(Reader *reader, Message *message)
{
    QByteArray name;
    quint16 type = 0;
    quint16 classField = 0;
    if (reader->readName(&name) != NameReading::Good || !reader->read(&type) || !reader->read(&classField)) {
        return false;
    }
    const int queryClass = classField & ~classTopBit;
    if (queryClass == internetClass || queryClass == anyClass) {
        Query query;
        query.setName(name);
        query.setType(type);
        query.setUnicastResponse((classField & classTopBit) != 0);
        message->addQuery(query);
    }
    return true;
}

/// Adds the record if it is a good one. Returns false if the reader cannot go on behind it.
bool readRecord(const QByteArray &packet, Reader *reader, Message *message)
{
    QByteArray name;
    quint16 type = 0;
    quint16 classField = 0;
    quint32 ttl = 0;
    quint16 dataSize = 0;
    const NameReading reading = reader->readName(&name);
    if (reading == NameReading::Endless || !reader->read(&type) || !reader->read(&classField) ||
        !reader->read(&ttl) || !reader->read(&dataSize)) {
        return false;
    }
    const int dataStart = reader->position();
    if (!reader->skip(dataSize)) {
        return false;
    }
    if (reading == NameReading::Good && (classField & ~classTopBit) == internetClass) {
        Record record;
        record.setName(name);
        record.setType(type);
        record.setFlushCache((classField & classTopBit) != 0);
        record.setTtl(ttl);
        Reader data(&packet, dataStart, dataStart + dataSize);
        if (readData(&data, &record)) {
            message->addRecord(record);
        }
    }
    return true;
}

QByteArray withTrailingDot(const QByteArray &name)
{
    return name.isEmpty() || name.endsWith('.') ? name : QByteArray(name).append('.');
}

/// Builds a packet. What is written has been checked before, so that nothing has to be taken back.
class Writer
{
public:
    explicit Writer(QByteArray *packet) : m_packet(*packet) {}

    template<typename Integer>
    void write(Integer value)
    {
        const Integer bigEndian = qToBigEndian(value);
        m_packet.append(reinterpret_cast<const char *>(&bigEndian), int(sizeof(Integer)));
    }

    void writeBytes(const QByteArray &bytes) { m_packet.append(bytes); }

    /// Writes the name with a pointer to the longest end of it that the packet already holds in the
    /// same spelling.
    void writeName(const QByteArray &text)
    {
        const QByteArray name = withTrailingDot(text);
        int labelStart = 0;
        while (labelStart < name.size()) {
            const QByteArray rest = name.mid(labelStart);
            const auto known = m_offsets.constFind(rest);
            if (known != m_offsets.cend()) {
                write(quint16(0xc000 | *known));
                return;
            }
            if (m_packet.size() <= highestPointerTarget) {
                m_offsets.insert(rest, m_packet.size());
            }
            const int labelEnd = name.indexOf('.', labelStart);
            write(quint8(labelEnd - labelStart));
            m_packet.append(name.constData() + labelStart, labelEnd - labelStart);
            labelStart = labelEnd + 1;
        }
        write(quint8(0));
    }

    /// Leaves room for a 16-bit number and returns its place.
    int reserve()
    {
        write(quint16(0));
        return m_packet.size() - int(sizeof(quint16));
    }

    void fill(int place, int value) { qToBigEndian(quint16(value), m_packet.data() + place); }

    int sizeSince(int place) const { return m_packet.size() - place - int(sizeof(quint16)); }

private:
    QByteArray &m_packet;
    QHash<QByteArray, int> m_offsets; // where each end of a name stands
};

bool isEncodable(const QByteArray &text)
{
    const QByteArray name = withTrailingDot(text);
    if (name.size() >= maximumNameSize) {
        return false;
    }
    for (int labelStart = 0; labelStart < name.size();) {
        const int labelEnd = name.indexOf('.', labelStart);
        if (labelEnd == labelStart || labelEnd - labelStart > maximumLabelSize) {
            return false;
        }
        labelStart = labelEnd + 1;
    }
    return true;
}

/// The data of a TXT record. Attributes that no string can hold are left out.
QByteArray attributeData(const QMap<QByteArray, QByteArray> &attributes)
{
    QByteArray data;
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
        QByteArray text = it.key();
        if (!it.value().isNull()) {
            text.append('=').append(it.value());
        }
        if (!it.key().isEmpty() && !it.key().contains('=') && text.size() <= maximumStringSize) {
            data.append(char(text.size())).append(text);
        }
    }
    // An empty TXT record holds one empty string (RFC 6763, 6.1).
    return data.isEmpty() ? QByteArray(1, '\0') : data;
}

bool isEncodable(const Record &record)
{
    if (!isEncodable(record.name())) {
        return false;
    }
    switch (record.type()) {
    case A:
        return record.address().protocol() == QAbstractSocket::IPv4Protocol;
    case AAAA:
        return record.address().protocol() == QAbstractSocket::IPv6Protocol;
    case PTR:
    case SRV:
        return isEncodable(record.target());
    case TXT:
        return attributeData(record.attributes()).size() <= maximumDataSize;
    case NSEC:
        return isEncodable(record.nextDomainName()) && record.bitmap().size() <= maximumBitmapSize;
    default:
        return false;
    }
}

void writeData(Writer *writer, const Record &record)
{
    switch (record.type()) {
    case A:
        writer->write(record.address().toIPv4Address());
        break;
    case AAAA: {
        const Q_IPV6ADDR address = record.address().toIPv6Address();
        writer->writeBytes(QByteArray(reinterpret_cast<const char *>(address.c), ipv6AddressSize));
        break;
    }
    case PTR:
        writer->writeName(record.target());
        break;
    case SRV:
        writer->write(record.priority());
        writer->write(record.weight());
        writer->write(record.port());
        // Compression is allowed here by RFC 6762, 18.14.
        writer->writeName(record.target());
        break;
    case TXT:
        writer->writeBytes(attributeData(record.attributes()));
        break;
    case NSEC:
        writer->writeName(record.nextDomainName());
        if (!record.bitmap().isEmpty()) {
            writer->write(quint8(0)); // the number of the window block
            writer->write(quint8(record.bitmap().size()));
            writer->writeBytes(record.bitmap());
        }
        break;
    default:
        break;
    }
}

void writeQuery(Writer *writer, const Query &query)
{
    writer->writeName(query.name());
    writer->write(query.type());
    writer->write(quint16(internetClass | (query.unicastResponse() ? classTopBit : 0)));
}

void writeRecord(Writer *writer, const Record &record)
{
    writer->writeName(record.name());
    writer->write(record.type());
    writer->write(quint16(internetClass | (record.flushCache() ? classTopBit : 0)));
    writer->write(record.ttl());
    const int dataSize = writer->reserve();
    writeData(writer, record);
    writer->fill(dataSize, writer->sizeSince(dataSize));
}

} // namespace

bool fromPacket(const QByteArray &packet, Message &message)
{
    message = Message();
    Reader reader(&packet, 0, packet.size());
    quint16 transactionId = 0;
    quint16 flags = 0;
    quint16 queryCount = 0;
    quint16 answerCount = 0;
    quint16 authorityCount = 0;
    quint16 additionalCount = 0;
    if (!reader.read(&transactionId) || !reader.read(&flags) || !reader.read(&queryCount) ||
        !reader.read(&answerCount) || !reader.read(&authorityCount) || !reader.read(&additionalCount)) {
        return false;
    }
    // RFC 6762, 18.3 and 18.11.
    if ((flags & (operationCodeMask | responseCodeMask)) != 0) {
        return false;
    }
    Message result;
    result.setTransactionId(transactionId);
    result.setResponse((flags & responseFlag) != 0);
    result.setTruncated((flags & truncatedFlag) != 0);
    for (int i = 0; i < queryCount; ++i) {
        if (!readQuery(&reader, &result)) {
            return false;
        }
    }
    const int recordCount = answerCount + authorityCount + additionalCount;
    for (int i = 0; i < recordCount; ++i) {
        if (!readRecord(packet, &reader, &result)) {
            return false;
        }
    }
    message = std::move(result);
    return true;
}

void toPacket(const Message &message, QByteArray &packet)
{
    packet.clear();
    Writer writer(&packet);
    writer.write(message.transactionId());
    // Multicast DNS responses are authoritative (RFC 6762, 18.4).
    writer.write(quint16((message.isResponse() ? responseFlag | authoritativeFlag : 0) |
                         (message.isTruncated() ? truncatedFlag : 0)));
    const int queryCountPlace = writer.reserve();
    const int recordCountPlace = writer.reserve();
    writer.reserve(); // authority section
    writer.reserve(); // additional section

    int queryCount = 0;
    const QList<Query> queries = message.queries();
    for (const Query &query : queries) {
        if (queryCount < maximumCount && isEncodable(query.name())) {
            writeQuery(&writer, query);
            ++queryCount;
        }
    }
    int recordCount = 0;
    const QList<Record> records = message.records();
    for (const Record &record : records) {
        if (recordCount < maximumCount && isEncodable(record)) {
            writeRecord(&writer, record);
            ++recordCount;
        }
    }
    writer.fill(queryCountPlace, queryCount);
    writer.fill(recordCountPlace, recordCount);
}

} // namespace QMdnsEngine
