# Every public header must compile on its own, as the first and only include of
# a translation unit, without warnings under -Wall -Wextra -Wpedantic.
#
# Input: ZUL_SOURCE_DIR, ZUL_BINARY_DIR, CMAKE_CXX_COMPILER.

file(GLOB headers "${ZUL_SOURCE_DIR}/include/*.h")
if(NOT headers)
    message(FATAL_ERROR "no public headers under ${ZUL_SOURCE_DIR}/include")
endif()
set(work "${ZUL_BINARY_DIR}/public_headers_check")
file(MAKE_DIRECTORY "${work}")

set(failed "")
foreach(h IN LISTS headers)
    get_filename_component(name "${h}" NAME_WE)
    set(tu "${work}/${name}.cpp")
    file(WRITE "${tu}" "#include \"${name}.h\"\n")
    execute_process(
        COMMAND "${CMAKE_CXX_COMPILER}" -std=c++17 -Wall -Wextra -Wpedantic -Werror
                -fsyntax-only -I "${ZUL_SOURCE_DIR}/include" "${tu}"
        OUTPUT_VARIABLE out
        ERROR_VARIABLE err
        RESULT_VARIABLE rc)
    if(NOT rc EQUAL 0)
        list(APPEND failed "${name}.h")
        message("${name}.h:\n${out}${err}")
    endif()
endforeach()
if(failed)
    message(FATAL_ERROR "headers that do not compile alone: ${failed}")
endif()
list(LENGTH headers n)
message(STATUS "${n} public headers compile standalone")
