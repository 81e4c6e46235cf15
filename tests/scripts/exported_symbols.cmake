# Checks the dynamic symbol table of the shared library: everything of ours that
# it exports must be a public entry point, and every entry point listed in
# exported_symbols.txt must be there.
#
# Input: ZUL_SHARED_LIB (path of libzulquery.so), ZUL_SOURCE_DIR.

if(NOT ZUL_SHARED_LIB OR NOT EXISTS "${ZUL_SHARED_LIB}")
    message(FATAL_ERROR "ZUL_SHARED_LIB not given or missing: '${ZUL_SHARED_LIB}'")
endif()

execute_process(
    COMMAND nm -D --defined-only "${ZUL_SHARED_LIB}"
    OUTPUT_VARIABLE nm_out
    ERROR_VARIABLE nm_err
    RESULT_VARIABLE nm_rc)
if(NOT nm_rc EQUAL 0)
    message(FATAL_ERROR "nm failed (${nm_rc}): ${nm_err}")
endif()

string(REPLACE "\n" ";" nm_lines "${nm_out}")
set(exported "")
foreach(line IN LISTS nm_lines)
    # "<address> <type> <name>"; versioned names carry "@..." behind them.
    if(line MATCHES "^[0-9a-fA-F]* +[A-Za-z] +([^ @]+)")
        list(APPEND exported "${CMAKE_MATCH_1}")
    endif()
endforeach()
if(NOT exported)
    message(FATAL_ERROR "no defined dynamic symbols found in ${ZUL_SHARED_LIB}")
endif()

# Allowed: the plain functions, the object face's two entry points, the object
# face's two classes and the session layer's two (members, typeinfo, typeinfo
# name, vtable), and the session layer's free functions version() and kind_name().
set(public_re "^(KQZUL_[A-Za-z0-9_]+|CreateZULQueryApi|DestroyZULQueryApi|_ZN8zulquery7versionEv|_ZN8zulquery9kind_nameENS_5Error4KindE)$")
set(class_re "^_Z(N|NK|TI|TS|TV)(11ZULQueryApi|13ZULQueryEvent)")
set(session_re "^_Z(N|NK|TIN|TSN|TVN)8zulquery(5Error|7Session)")
# What the linker itself defines. Nothing else may leave: the version script keeps
# even standard library instantiations inside.
set(linker_re "^(_init|_fini|_edata|_end|__bss_start|_DYNAMIC|_GLOBAL_OFFSET_TABLE_)$")

set(bad "")
foreach(sym IN LISTS exported)
    if(sym MATCHES "${public_re}" OR sym MATCHES "${class_re}" OR sym MATCHES "${session_re}")
        continue()
    endif()
    if(sym MATCHES "${linker_re}")
        continue()
    endif()
    list(APPEND bad "${sym}")
endforeach()

file(STRINGS "${ZUL_SOURCE_DIR}/tests/scripts/exported_symbols.txt" expected
     REGEX "^[A-Za-z_]")
if(NOT expected)
    message(FATAL_ERROR "empty list of expected symbols")
endif()
set(missing "")
foreach(sym IN LISTS expected)
    string(STRIP "${sym}" sym)
    list(FIND exported "${sym}" idx)
    if(idx EQUAL -1)
        list(APPEND missing "${sym}")
    endif()
endforeach()

if(bad OR missing)
    string(REPLACE ";" "\n  " bad_text "${bad}")
    string(REPLACE ";" "\n  " missing_text "${missing}")
    message(FATAL_ERROR "exported but not public:\n  ${bad_text}\n"
                        "public but not exported:\n  ${missing_text}")
endif()
list(LENGTH exported n_exported)
list(LENGTH expected n_expected)
message(STATUS "${n_exported} exported symbols checked, ${n_expected} expected ones present")
