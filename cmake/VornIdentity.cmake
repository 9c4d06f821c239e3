# The program's identity, in one place. Packagers may change it here. The
# sources, the desktop's files and the man pages take all names from here.
set(VORN_APP_NAME "Vorn Device Finder")
set(VORN_APP_PROGRAM "vorn-device-finder")
set(VORN_LAUNCHER_PROGRAM "vorn-device-finder-launcher")
# The launcher and the program find each other by this path. Build trees have
# the same folders.
file(RELATIVE_PATH VORN_LAUNCHER_FOLDER ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBEXECDIR})
file(RELATIVE_PATH VORN_APP_FOLDER ${CMAKE_INSTALL_FULL_LIBEXECDIR} ${CMAKE_INSTALL_FULL_BINDIR})
file(RELATIVE_PATH VORN_CATALOGUE_FOLDER ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LOCALEDIR})
set(VORN_APP_ID "example.vorn.DeviceFinder" CACHE STRING
    "Reverse-domain identifier: names of the desktop file, the icons and the bus name")
set(VORN_LAUNCHER_ID "${VORN_APP_ID}.Launcher" CACHE STRING "Identifier of the login launcher: name of the login item")
set(VORN_HOMEPAGE "http://www.vorn.example/" CACHE STRING "The maker's web site")
set(VORN_AVB_PAGE "http://www.vorn.example/avb/" CACHE STRING "The maker's page about AVB, opened by the driver notification")
set(VORN_BUILD_NUMBER "0" CACHE STRING "Build number: the fourth field of the bundle version")
set(VORN_RELEASE_DATE "2026-11-21" CACHE STRING "Date of this release, for the man pages")

if(NOT VORN_APP_ID MATCHES "^[A-Za-z_][A-Za-z0-9_]*(\\.[A-Za-z_][A-Za-z0-9_]*)+$")
  message(FATAL_ERROR "VORN_APP_ID must be a reverse-domain identifier that is a bus name, not '${VORN_APP_ID}'")
endif()
if(NOT VORN_LAUNCHER_ID MATCHES "^[A-Za-z0-9_]+([.-][A-Za-z0-9_]+)+$")
  message(FATAL_ERROR "VORN_LAUNCHER_ID must be a reverse-domain identifier, not '${VORN_LAUNCHER_ID}'")
endif()
if(NOT VORN_BUILD_NUMBER MATCHES "^[0-9]+$")
  message(FATAL_ERROR "VORN_BUILD_NUMBER must be a whole number, not '${VORN_BUILD_NUMBER}'")
endif()
set(VORN_BUNDLE_VERSION "${PROJECT_VERSION}+${VORN_BUILD_NUMBER}")
string(REPLACE "." "/" VORN_APP_OBJECT_PATH "/${VORN_APP_ID}")

configure_file(${PROJECT_SOURCE_DIR}/src/app/Identity.h.in ${PROJECT_BINARY_DIR}/generated/app/Identity.h @ONLY)
add_library(vorn_identity INTERFACE)
target_include_directories(vorn_identity INTERFACE ${PROJECT_BINARY_DIR}/generated)
