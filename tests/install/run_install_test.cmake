# cmake -DBUILD_DIR=... -DCONSUMER_SOURCE_DIR=... -DWORK_DIR=... -P run_install_test.cmake

function(run_checked what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
        ERROR_VARIABLE output TIMEOUT 240)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${what} failed (${result}):\n${output}")
    endif()
    set(last_output "${output}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
set(consumer_build ${WORK_DIR}/consumer-build)
set(app_files ${WORK_DIR}/app-files)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${app_files})

run_checked("Installing" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

run_checked("Configuring the consumer" ${CMAKE_COMMAND} -S ${CONSUMER_SOURCE_DIR}
    -B ${consumer_build} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run_checked("Building the consumer" ${CMAKE_COMMAND} --build ${consumer_build})

# The downloader would otherwise go through a proxy of the environment.
unset(ENV{http_proxy})
unset(ENV{HTTP_PROXY})
run_checked("Running the consumer" ${consumer_build}/consumer ${app_files})

set(log ${app_files}/vx_transfers.log)
if(NOT EXISTS ${log})
    message(FATAL_ERROR "The consumer wrote no log file ${log}")
endif()
file(STRINGS ${log} lines)
list(LENGTH lines line_count)
if(line_count EQUAL 0)
    message(FATAL_ERROR "The log file ${log} is empty")
endif()

# pkg-config must point into the prefix that the package was installed to.
file(GLOB_RECURSE pc_files ${prefix}/vx_transfers.pc)
if(NOT pc_files)
    message(FATAL_ERROR "No vx_transfers.pc under ${prefix}")
endif()
list(GET pc_files 0 pc_file)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run_checked("pkg-config" pkg-config --cflags --libs vx_transfers)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
set(include_ok FALSE)
set(lib_ok FALSE)
foreach(flag ${flags})
    if(flag MATCHES "^-I(.+)$" AND EXISTS "${CMAKE_MATCH_1}/vx_transfers/vx_transfers.h")
        set(include_ok TRUE)
    elseif(flag MATCHES "^-L(.+)$" AND EXISTS "${CMAKE_MATCH_1}/libvx_transfers.so")
        set(lib_ok TRUE)
    endif()
endforeach()
if(NOT include_ok OR NOT lib_ok OR NOT "-lvx_transfers" IN_LIST flags)
    message(FATAL_ERROR "pkg-config flags do not lead into ${prefix}: ${flags}")
endif()
message(STATUS "Installed package works: ${line_count} log line(s), pkg-config: ${flags}")
