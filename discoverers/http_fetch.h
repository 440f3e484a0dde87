#pragma once

#include <QByteArray>
#include <QString>

class QUrl;

namespace Sondrix
{

/// The limits of one HTTP fetch, and the words for what goes over them.
struct HttpFetchLimits {
    int timeoutMs = 0;    ///< for the whole transfer
    int maximumBytes = 0; ///< largest body
    QString timeoutText;
    QString oversizeText; ///< empty: a larger body is cut without an error
};

/// Gets an http or https URL and returns the body; a redirect counts as success with its own body.
/// Blocks in a nested event loop; where the application ends meanwhile, the time counts as run out. After
/// a failure the result is empty and error, which may be null, says why; it is cleared on entry.
QByteArray fetchHttp(const QUrl &url, const HttpFetchLimits &limits, QString *error);

} // namespace Sondrix
