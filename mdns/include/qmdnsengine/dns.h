#pragma once

#include <QByteArray>

namespace QMdnsEngine
{

class Message;

/// Reads a DNS message (RFC 1035, 4; RFC 6762, 18). A malformed record is left out if its length
/// field lets the reader go on behind it, and so is a record of another class, of an unknown type,
/// or with a name that a byte string with dots cannot represent. Returns false, with an empty
/// message, if the packet is malformed beyond that, or is one that RFC 6762 tells to ignore (an
/// operation or response code other than 0). Leaves address and port unset.
bool fromPacket(const QByteArray &packet, Message &message);

/// Writes a DNS message with compressed names (RFC 1035, 4.1.4), all records in the answer section.
/// Questions and records that the format cannot hold are left out.
void toPacket(const Message &message, QByteArray &packet);

} // namespace QMdnsEngine
