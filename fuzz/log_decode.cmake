# fuzz_log_decode: zulq decode's log reader and its output formats, with their sources
# compiled in under the fuzzer's instrumentation and the sanitizers of fuzz_message_loop.
add_executable(fuzz_log_decode fuzz_log_decode.cpp
    ${PROJECT_SOURCE_DIR}/cli/zulq_decode.cpp
    ${PROJECT_SOURCE_DIR}/cli/zulq_format.cpp
    ${PROJECT_SOURCE_DIR}/cli/zulq_records.cpp
    ${PROJECT_SOURCE_DIR}/sim/sim_fields.cpp)
target_include_directories(fuzz_log_decode PRIVATE
    ${PROJECT_SOURCE_DIR}/cli ${PROJECT_SOURCE_DIR}/sim ${PROJECT_SOURCE_DIR}/src
    ${PROJECT_SOURCE_DIR}/include)
target_compile_options(fuzz_log_decode PRIVATE
    -fsanitize=fuzzer-no-link,${ZUL_FUZZ_SANITIZERS} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
target_link_options(fuzz_log_decode PRIVATE -fsanitize=fuzzer,${ZUL_FUZZ_SANITIZERS})
target_link_libraries(fuzz_log_decode PRIVATE zul_warnings)
