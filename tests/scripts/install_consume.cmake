# Installs the build into a scratch prefix and builds a user's programs against it:
# with find_package (shared library, static library, simulator library) and with
# pkg-config (shared and static). Each program runs; any failure fails the test.
#
# Input: ZUL_SOURCE_DIR, ZUL_BINARY_DIR, CMAKE_CXX_COMPILER.

set(work "${ZUL_BINARY_DIR}/install_consume")
set(prefix "${work}/prefix")
file(REMOVE_RECURSE "${work}")
file(MAKE_DIRECTORY "${work}/run")

# run(<what> <execute_process arguments>): fails the test unless the command succeeds;
# its output is left in run_out.
function(run what)
    execute_process(${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "${what} failed (${rc}):\n${out}${err}")
    endif()
    set(run_out "${out}" PARENT_SCOPE)
endfunction()

# The programs must not need the shared library to run.
function(expect_static program)
    find_program(readelf readelf)
    if(readelf)
        run("readelf ${program}" COMMAND "${readelf}" -d "${program}")
        if(run_out MATCHES "libzulquery")
            message(FATAL_ERROR "${program} needs the shared library:\n${run_out}")
        endif()
    endif()
endfunction()

# The same generator as the build, and the same sanitizer: an instrumented library
# needs its runtime in the program.
load_cache("${ZUL_BINARY_DIR}" READ_WITH_PREFIX zul_
    CMAKE_BUILD_TYPE CMAKE_GENERATOR CMAKE_MAKE_PROGRAM)
set(san "")
if(zul_CMAKE_BUILD_TYPE STREQUAL "Asan")
    set(san "-fsanitize=address,undefined")
elseif(zul_CMAKE_BUILD_TYPE STREQUAL "Tsan")
    set(san "-fsanitize=thread")
endif()

run("install" COMMAND "${CMAKE_COMMAND}" --install "${ZUL_BINARY_DIR}" --prefix "${prefix}")

# ---- find_package ----
set(consumer "${ZUL_SOURCE_DIR}/tests/scripts/install_consumer")
run("configure the consumer"
    COMMAND "${CMAKE_COMMAND}" -S "${consumer}" -B "${work}/cmake"
        -G "${zul_CMAKE_GENERATOR}" "-DCMAKE_MAKE_PROGRAM=${zul_CMAKE_MAKE_PROGRAM}"
        "-DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}" -DCMAKE_BUILD_TYPE=Release
        "-DCMAKE_CXX_FLAGS=${san}" "-DCMAKE_EXE_LINKER_FLAGS=${san}"
        "-DCMAKE_PREFIX_PATH=${prefix}" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
if(NOT run_out MATCHES "zulquery found in ${prefix}/")
    message(FATAL_ERROR "zulquery was not found in ${prefix}:\n${run_out}")
endif()
run("build the consumer" COMMAND "${CMAKE_COMMAND}" --build "${work}/cmake" -j2)
foreach(program consumer_shared consumer_static consumer_sim)
    run("${program}" COMMAND "${work}/cmake/${program}" WORKING_DIRECTORY "${work}/run")
endforeach()
expect_static("${work}/cmake/consumer_static")

# ---- pkg-config ----
find_program(pkg_config pkg-config)
if(NOT pkg_config)
    message(FATAL_ERROR "pkg-config not found (scripts/install-deps installs it)")
endif()
file(GLOB_RECURSE pc_file "${prefix}/*/zulquery.pc")
if(NOT pc_file)
    message(FATAL_ERROR "no zulquery.pc under ${prefix}")
endif()
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
# pkg_config_args(<var> <pkg-config arguments>): the answer as a list of arguments.
function(pkg_config_args var)
    run("pkg-config ${ARGN}" COMMAND "${pkg_config}" ${ARGN} zulquery
        OUTPUT_STRIP_TRAILING_WHITESPACE)
    separate_arguments(args UNIX_COMMAND "${run_out}")
    set(${var} "${args}" PARENT_SCOPE)
endfunction()
pkg_config_args(version --modversion)
if(NOT version STREQUAL "5.2.4.16")
    message(FATAL_ERROR "pkg-config gives version '${version}'")
endif()
pkg_config_args(cflags --cflags)
pkg_config_args(libs --libs)
pkg_config_args(static_libs --static --libs)
pkg_config_args(libdir --variable=libdir)
# The static link asks for the archive by its file name.
list(TRANSFORM static_libs REPLACE "^-lzulquery$" "-l:libzulquery.a")
separate_arguments(san_args UNIX_COMMAND "${san}")
foreach(kind shared static)
    set(program "${work}/pc_${kind}")
    set(link "${libs}")
    if(kind STREQUAL "static")
        set(link "${static_libs}")
    endif()
    run("pkg-config ${kind} build"
        COMMAND "${CMAKE_CXX_COMPILER}" -std=c++17 ${san_args} ${cflags}
            "${consumer}/consumer.cpp" -o "${program}" ${link})
    run("pkg-config ${kind} program"
        COMMAND "${CMAKE_COMMAND}" -E env "LD_LIBRARY_PATH=${libdir}" "${program}"
        WORKING_DIRECTORY "${work}/run")
endforeach()
expect_static("${work}/pc_static")
message(STATUS "installed zulquery found and used through CMake and pkg-config")
