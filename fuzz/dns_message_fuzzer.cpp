#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_assert.h"
#include <qmdnsengine/dns.h>
#include <qmdnsengine/message.h>

using namespace QMdnsEngine;

namespace
{

constexpr int maximumNameSize = 254; // as text, without the root label
constexpr int maximumLabelSize = 63;
constexpr int maximumBitmapSize = 32;

void checkName(const QByteArray &name)
{
    FUZZ_ASSERT(name.size() <= maximumNameSize);
    FUZZ_ASSERT(name.isEmpty() || name.endsWith('.'));
    int labelStart = 0;
    while (labelStart < name.size()) {
        const int labelEnd = name.indexOf('.', labelStart);
        FUZZ_ASSERT(labelEnd > labelStart && labelEnd - labelStart <= maximumLabelSize);
        labelStart = labelEnd + 1;
    }
}

void checkAttributes(const QMap<QByteArray, QByteArray> &attributes)
{
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
        FUZZ_ASSERT(!it.key().isEmpty());
        FUZZ_ASSERT(!it.key().contains('='));
    }
}

void checkRecord(const Record &record)
{
    checkName(record.name());
    checkName(record.target());
    checkName(record.nextDomainName());
    checkAttributes(record.attributes());
    FUZZ_ASSERT(record.bitmap().size() <= maximumBitmapSize);
    switch (record.type()) {
    case A:
        FUZZ_ASSERT(record.address().protocol() == QAbstractSocket::IPv4Protocol);
        break;
    case AAAA:
        FUZZ_ASSERT(record.address().protocol() == QAbstractSocket::IPv6Protocol);
        break;
    default:
        FUZZ_ASSERT(record.address().isNull());
        break;
    }
}

/// A message that has something in it, which the reader must not leave there.
Message usedMessage()
{
    Message message;
    message.setTransactionId(1);
    message.addQuery(Query());
    message.addRecord(Record());
    return message;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray packet(reinterpret_cast<const char *>(data), int(size));
    Message message = usedMessage();
    if (!fromPacket(packet, message)) {
        FUZZ_ASSERT(message == Message());
        return 0;
    }
    FUZZ_ASSERT(message.address().isNull() && message.port() == 0);
    const QList<Query> queries = message.queries();
    for (const Query &query : queries) {
        checkName(query.name());
    }
    const QList<Record> records = message.records();
    for (const Record &record : records) {
        checkRecord(record);
    }

    // Whatever the reader lets through, the writer can hold, so that nothing gets lost on the way.
    QByteArray written;
    toPacket(message, written);
    Message readAgain = usedMessage();
    FUZZ_ASSERT(fromPacket(written, readAgain));
    FUZZ_ASSERT(readAgain == message);
    QByteArray writtenAgain;
    toPacket(readAgain, writtenAgain);
    FUZZ_ASSERT(writtenAgain == written);
    return 0;
}
