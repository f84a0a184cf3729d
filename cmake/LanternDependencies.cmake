# Every library that Lantern is built on, found once. All of them are packages of Debian 12 (scripts/setup).
# Installed with the package, so that a consumer finds the same libraries by the same names.
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS chrono thread)
find_package(jsoncpp REQUIRED)
find_package(spdlog REQUIRED)
find_package(ZLIB REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_package(PkgConfig REQUIRED)
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
find_package(ClearSilver REQUIRED)
list(POP_FRONT CMAKE_MODULE_PATH)
pkg_check_modules(utf8proc REQUIRED IMPORTED_TARGET libutf8proc)

# The same libraries as pkg-config knows them; lantern.pc hands them on.
set(LANTERN_PKGCONFIG_REQUIRES "jsoncpp spdlog libutf8proc libcrypto zlib")
set(LANTERN_PKGCONFIG_LIBS "-lneo_utl -lboost_thread -lboost_chrono") # these have no files of pkg-config's
