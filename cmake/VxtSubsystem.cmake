# vxt_add_subsystem(<name> DIRS <dir>... [EXCLUDE <dir>...] [DEPS <target>...])
# Builds the sources found under the given src/ folders into the static library vxt_<name>.
# The shared library and the test binaries both link these, so unit tests reach internals
# that the shared library hides. Each layer compiles on its own, so a layer's tests build
# without the layers above it.
function(vxt_add_subsystem name)
    cmake_parse_arguments(ARG "" "" "DIRS;EXCLUDE;DEPS" ${ARGN})
    set(sources)
    foreach(dir ${ARG_DIRS})
        file(GLOB_RECURSE found CONFIGURE_DEPENDS
            ${PROJECT_SOURCE_DIR}/src/${dir}/*.cpp)
        list(APPEND sources ${found})
    endforeach()
    foreach(dir ${ARG_EXCLUDE})
        list(FILTER sources EXCLUDE REGEX "^${PROJECT_SOURCE_DIR}/src/${dir}/")
    endforeach()
    if(NOT sources)
        add_library(vxt_${name} INTERFACE)
        target_link_libraries(vxt_${name} INTERFACE vxt_deps ${ARG_DEPS})
    else()
        add_library(vxt_${name} STATIC ${sources})
        target_link_libraries(vxt_${name} PUBLIC vxt_deps ${ARG_DEPS})
    endif()
    set_property(GLOBAL APPEND PROPERTY VXT_SUBSYSTEMS vxt_${name})
endfunction()

# vxt_add_subsystem_tests(<name> LIBS <target>... [LABELS <label>...])
# Builds tests/<name>/*.cpp into vx_tests_<name> and registers every test with CTest.
function(vxt_add_subsystem_tests name)
    cmake_parse_arguments(ARG "" "" "LIBS;LABELS;SOURCES" ${ARGN})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    list(APPEND sources ${ARG_SOURCES})
    string(REPLACE "/" "_" target_suffix ${name})
    set(target vx_tests_${target_suffix})
    add_executable(${target} ${sources})
    target_link_libraries(${target} PRIVATE ${ARG_LIBS} GTest::gmock GTest::gtest_main)
    if(NOT ARG_LABELS)
        set(ARG_LABELS ${name})
    endif()
    gtest_discover_tests(${target}
        DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 300
        WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
endfunction()
