#pragma once

#include <cstdint>

#include <QString>
#include <QStringList>

class QLibrary;

namespace Sondrix
{

/// What a finder is to look for, in the public layout of the NDI SDK.
struct NDIlib_find_create_t {
    bool show_local_sources;
    const char *p_groups;
    const char *p_extra_ips;
};

/// One source, in the public layout of the NDI SDK. The texts are UTF-8 and may be null.
struct NDIlib_source_t {
    const char *p_ndi_name;
    const char *p_url_address;
};

/// The runtime's entry points, each null until it is loaded.
struct NdiApi {
    using Finder = void *;

    bool (*NDIlib_initialize)() = nullptr;
    bool (*NDIlib_is_supported_CPU)() = nullptr; ///< the only one that may stay null
    Finder (*NDIlib_find_create_v2)(const NDIlib_find_create_t *settings) = nullptr;
    void (*NDIlib_find_destroy)(Finder finder) = nullptr;
    /// The array belongs to the runtime, until the finder's next call.
    const NDIlib_source_t *(*NDIlib_find_get_current_sources)(Finder finder, std::uint32_t *count) = nullptr;
    bool (*NDIlib_find_wait_for_sources)(Finder finder, std::uint32_t timeoutMs) = nullptr;
};

/// The places where the runtime is looked for, in order; bare file names are left to the system's
/// loader.
QStringList ndiLibraryCandidates();

/// Loads the first runtime that has the required entry points into *library and *api. On failure
/// returns false, and error, which may be null, speaks of the last place tried.
bool loadNdiRuntime(QLibrary *library, NdiApi *api, QString *error);

} // namespace Sondrix
