/* A stand-in for the NDI runtime, which is not free to ship: the entry points of the SDK's public
   finder over a list of sources in a file. Each line of the file that LAB_NDI_SOURCES names holds a
   server, a source name and its address, parted by tabs. A source without a server is found on the
   network itself, the others only through that server. */

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define MAX_SOURCES 16
#define MAX_LINE 512

typedef struct {
    bool show_local_sources;
    const char *p_groups;
    const char *p_extra_ips;
} NDIlib_find_create_t;

typedef struct {
    const char *p_ndi_name;
    const char *p_url_address;
} NDIlib_source_t;

typedef struct {
    NDIlib_source_t sources[MAX_SOURCES];
    char lines[MAX_SOURCES][MAX_LINE];
    uint32_t count;
} Finder;

bool NDIlib_initialize(void)
{
    return true;
}

#ifndef LAB_NDI_WITHOUT_FINDER

bool NDIlib_is_supported_CPU(void)
{
    return true;
}

static bool is_listed(const char *servers, const char *server)
{
    const size_t length = strlen(server);
    while (servers != NULL) {
        if (strncmp(servers, server, length) == 0 && (servers[length] == ',' || servers[length] == '\0')) {
            return true;
        }
        servers = strchr(servers, ',');
        servers = servers == NULL ? NULL : servers + 1;
    }
    return false;
}

/* The field at the beginning of the rest, and the rest behind it; Windows has no strsep(). */
static const char *next_field(char **rest)
{
    const char *field = *rest;
    *rest += strcspn(*rest, "\t");
    if (**rest != '\0') {
        *(*rest)++ = '\0';
    }
    return field;
}

void *NDIlib_find_create_v2(const NDIlib_find_create_t *settings)
{
    const char *path = getenv("LAB_NDI_SOURCES");
    FILE *file = path == NULL ? NULL : fopen(path, "r");
    if (file == NULL) {
        return NULL;
    }
    Finder *finder = calloc(1, sizeof(Finder));
    while (finder != NULL && finder->count < MAX_SOURCES) {
        char *rest = fgets(finder->lines[finder->count], MAX_LINE, file);
        if (rest == NULL) {
            break;
        }
        rest[strcspn(rest, "\n")] = '\0';
        const char *server = next_field(&rest);
        const char *name = next_field(&rest);
        if (server[0] == '\0' || is_listed(settings->p_extra_ips, server)) {
            finder->sources[finder->count].p_ndi_name = name;
            finder->sources[finder->count].p_url_address = rest;
            ++finder->count;
        }
    }
    fclose(file);
    return finder;
}

void NDIlib_find_destroy(void *finder)
{
    free(finder);
}

const NDIlib_source_t *NDIlib_find_get_current_sources(void *finder, uint32_t *count)
{
    *count = ((Finder *)finder)->count;
    return ((Finder *)finder)->sources;
}

bool NDIlib_find_wait_for_sources(void *finder, uint32_t milliseconds)
{
    (void)milliseconds;
    return ((Finder *)finder)->count > 0;
}

#endif
