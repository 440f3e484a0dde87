#include <qmdnsengine/abstractserver.h>

namespace QMdnsEngine
{

AbstractServer::AbstractServer(QObject *parent) : QObject(parent) {}

AbstractServer::~AbstractServer() = default;

} // namespace QMdnsEngine
