# The addresses of the services: constants of the build, checked here and written to one generated header.
# The defaults are the local log service of this repository, so that a build without its constants talks to nobody else.

set(KX_LOG_SERVICE_URL "http://127.0.0.1:8700/logsys/client" CACHE STRING
    "Base URL of the log service; its path is /logsys/client")
set(KX_PRODUCER_URL "http://127.0.0.1:8700/v1/clientproducer/upload" CACHE STRING
    "URL that takes SDK logs; its path is /v1/clientproducer/upload")
set(KX_REPORT_API_URL "http://127.0.0.1" CACHE STRING
    "Scheme and host of the report API; its port is always 21999")
set(KX_ERROR_GATEWAY_URL "http://127.0.0.1:8700" CACHE STRING
    "Scheme and host, with a port where it is not the scheme's own, of the error gateway")

set(kx_host_pattern "([A-Za-z0-9]([A-Za-z0-9.-]*[A-Za-z0-9])?|\\[[0-9A-Fa-f:.]+\\])")
set(kx_loopback_pattern "^https?://(127\\.[0-9]+\\.[0-9]+\\.[0-9]+|localhost|\\[::1\\])(:|/|$)")

# kx_check_url(<variable> <pattern behind scheme and host> <what is expected>)
function(kx_check_url variable rest expected)
    set(url "${${variable}}")
    if(NOT url MATCHES "^https?://${kx_host_pattern}${rest}$")
        message(FATAL_ERROR "${variable} is '${url}', expected ${expected}")
    endif()
    if(url MATCHES "^https?://${kx_host_pattern}:([0-9]+)")
        set(port "${CMAKE_MATCH_3}")
        if(port LESS 1 OR port GREATER 65535)
            message(FATAL_ERROR "${variable} is '${url}', its port is not between 1 and 65535")
        endif()
    endif()
    if(url MATCHES "^http://" AND NOT url MATCHES "${kx_loopback_pattern}")
        message(WARNING "${variable} is '${url}': logs would leave this machine unencrypted")
    endif()
endfunction()

kx_check_url(KX_LOG_SERVICE_URL "(:[0-9]+)?/logsys/client"
    "http(s)://HOST[:PORT]/logsys/client")
kx_check_url(KX_PRODUCER_URL "(:[0-9]+)?/v1/clientproducer/upload"
    "http(s)://HOST[:PORT]/v1/clientproducer/upload")
kx_check_url(KX_REPORT_API_URL ""
    "http(s)://HOST without port, path or trailing slash")
kx_check_url(KX_ERROR_GATEWAY_URL "(:[0-9]+)?"
    "http(s)://HOST[:PORT] without path or trailing slash")

set(kx_endpoints KX_LOG_SERVICE_URL KX_PRODUCER_URL KX_REPORT_API_URL KX_ERROR_GATEWAY_URL)
set(kx_loopback_endpoints ${kx_endpoints})
foreach(endpoint IN LISTS kx_endpoints)
    message(STATUS "${endpoint}: ${${endpoint}}")
    if(NOT ${endpoint} MATCHES "${kx_loopback_pattern}")
        list(REMOVE_ITEM kx_loopback_endpoints ${endpoint})
    endif()
endforeach()
if(kx_loopback_endpoints AND NOT kx_loopback_endpoints STREQUAL kx_endpoints)
    list(JOIN kx_loopback_endpoints ", " kx_left)
    message(WARNING "Some addresses are real, others stay on the machine that runs the tool: ${kx_left}")
endif()

configure_file("${PROJECT_SOURCE_DIR}/cmake/kxendpoints.h.in"
               "${PROJECT_BINARY_DIR}/generated/kxendpoints.h" @ONLY)
