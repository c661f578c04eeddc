# Third-party dependencies, all from Debian packages.
find_package(Threads REQUIRED)
find_package(Poco 1.11 REQUIRED COMPONENTS Foundation Net NetSSL Crypto Util Data DataSQLite JSON)
find_package(CURL REQUIRED)
find_package(OpenSSL REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(LIBPROXY REQUIRED IMPORTED_TARGET libproxy-1.0)
pkg_check_modules(LIBSYSTEMD REQUIRED IMPORTED_TARGET libsystemd)

# Everything the library's own code compiles and links against.
add_library(vxt_deps INTERFACE)
target_include_directories(vxt_deps INTERFACE
    ${PROJECT_SOURCE_DIR}/include
    ${PROJECT_SOURCE_DIR}/src
    ${PROJECT_BINARY_DIR}/generated)
target_link_libraries(vxt_deps INTERFACE
    Poco::Foundation Poco::Net Poco::NetSSL Poco::Crypto Poco::Util Poco::Data Poco::DataSQLite
    Poco::JSON CURL::libcurl OpenSSL::SSL OpenSSL::Crypto SQLite::SQLite3
    PkgConfig::JSONCPP PkgConfig::LIBPROXY PkgConfig::LIBSYSTEMD Threads::Threads)
