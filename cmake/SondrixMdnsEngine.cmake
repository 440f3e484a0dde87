# Chooses the multicast DNS engine: the target `qmdnsengine` is either an installed QMdnsEngine or
# the project's own engine in mdns/, which has the same headers and classes.

if(SONDRIX_MDNS_ENGINE STREQUAL "SYSTEM")
    find_package(qmdnsengine CONFIG REQUIRED)
elseif(SONDRIX_MDNS_ENGINE STREQUAL "AUTO")
    find_package(qmdnsengine CONFIG QUIET)
elseif(NOT SONDRIX_MDNS_ENGINE STREQUAL "BUNDLED")
    message(FATAL_ERROR "SONDRIX_MDNS_ENGINE is '${SONDRIX_MDNS_ENGINE}'; it takes AUTO, BUNDLED or SYSTEM")
endif()

set(SONDRIX_MDNS_ENGINE_IS_BUNDLED OFF)
if(NOT TARGET qmdnsengine)
    set(SONDRIX_MDNS_ENGINE_IS_BUNDLED ON)
    add_subdirectory(mdns)
endif()
