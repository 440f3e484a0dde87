// A stand-in for the NDI runtime, with the entry points of a finder alone. It writes every call as
// a line to the file that FAKE_NDI_LOG names, and plays the part that FAKE_NDI_PART names. The two
// structures are written apart from the program's, in the public layout of the NDI SDK, so that no
// error of the program's can hide behind itself.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#ifdef _WIN32
#define FAKE_NDI_EXPORT extern "C" __declspec(dllexport)
#else
#define FAKE_NDI_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace
{

struct FindSettings {
    bool show_local_sources;
    const char *p_groups;
    const char *p_extra_ips;
};

struct Source {
    const char *p_ndi_name;
    const char *p_url_address;
};

std::string variable(const char *name)
{
    const char *value = std::getenv(name);
    return value != nullptr ? value : "";
}

bool plays(const char *part)
{
    return variable("FAKE_NDI_PART") == part;
}

void log(const std::string &line)
{
    if (std::FILE *file = std::fopen(variable("FAKE_NDI_LOG").c_str(), "ab")) {
        std::fputs((line + '\n').c_str(), file);
        std::fclose(file);
    }
}

std::string quoted(const char *text)
{
    return text != nullptr ? '"' + std::string(text) + '"' : "null";
}

using Texts = std::pair<const char *, const char *>; // name and address, null where the source has none

std::vector<Texts> partSources()
{
    if (plays("no sources")) {
        return {};
    }
    if (plays("many sources")) {
        return std::vector<Texts>(20000, {"STUDIO (Cam 1)", "10.0.0.1:5961"});
    }
    if (plays("odd sources")) {
        return {
            {nullptr, "10.0.0.1:5961"},
            {"NO ADDRESS (Cam)", nullptr},
            {nullptr, nullptr},
            {"", ""},
            {"  ", "\t"},
            {" ", "10.0.0.2:5961"},
            {"B\xc3\x9cHNE (Kamera \xf0\x9f\x8e\xa5)", "b\xc3\xbchne.de:5961"},
            {"b\xc3\xbchne (kamera \xf0\x9f\x8e\xa5)", "10.0.0.3:5961"},
            {"BROKEN \xff", "10.0.0.4"},
            {"%1 %2", "%1"},
        };
    }
    return {{"STUDIO (Cam 2)", "10.0.0.2:5961"}, {"STUDIO (Cam 1)", "10.0.0.1:5961"}};
}

/// What a finder has found. Its texts are gone with it, and spoilt before.
struct Finder {
    std::vector<std::string> texts;
    std::vector<Source> sources;

    void find()
    {
        const std::vector<Texts> found = partSources();
        texts.reserve(2 * found.size()); // the sources point at the texts
        for (const Texts &source : found) {
            sources.push_back({keep(source.first), keep(source.second)});
        }
    }

    const char *keep(const char *text)
    {
        if (text == nullptr) {
            return nullptr;
        }
        texts.emplace_back(text);
        return texts.back().c_str();
    }

    void spoil()
    {
        for (std::string &text : texts) {
            std::fill(text.begin(), text.end(), '#');
        }
    }
};

int initializations = 0; // since the library was loaded

} // namespace

FAKE_NDI_EXPORT bool NDIlib_initialize()
{
    ++initializations;
    log("initialize " + std::to_string(initializations));
    return !plays("refuse initialization");
}

FAKE_NDI_EXPORT bool NDIlib_is_supported_CPU()
{
    log("is_supported_CPU");
    return !plays("refuse CPU");
}

FAKE_NDI_EXPORT void *NDIlib_find_create_v2(const FindSettings *settings)
{
    log("find_create_v2 local=" + std::to_string(int(settings->show_local_sources)) +
        " groups=" + quoted(settings->p_groups) + " extra=" + quoted(settings->p_extra_ips));
    return plays("refuse finder") ? nullptr : new Finder;
}

FAKE_NDI_EXPORT void NDIlib_find_destroy(void *finder)
{
    log("find_destroy");
    static_cast<Finder *>(finder)->spoil();
    delete static_cast<Finder *>(finder);
}

FAKE_NDI_EXPORT const Source *NDIlib_find_get_current_sources(void *finder, std::uint32_t *count)
{
    log("find_get_current_sources count=" + std::to_string(*count));
    if (plays("null array")) {
        *count = 3;
        return nullptr;
    }
    auto *own = static_cast<Finder *>(finder);
    *count = std::uint32_t(own->sources.size());
    own->sources.reserve(1); // no null pointer for nothing
    return own->sources.data();
}

FAKE_NDI_EXPORT bool NDIlib_find_wait_for_sources(void *finder, std::uint32_t timeoutMs)
{
    log("find_wait_for_sources " + std::to_string(timeoutMs));
    static_cast<Finder *>(finder)->find();
    return !plays("odd sources") && !plays("no sources");
}
