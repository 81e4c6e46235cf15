# Thin wrapper around CMake + Ninja. Every target configures on first use.
JOBS    ?= $(shell nproc 2>/dev/null || echo 2)
CTEST   := ctest --output-on-failure -j $(JOBS)
CONFIG   = cmake -S . -B $(1) -G Ninja -DCMAKE_BUILD_TYPE=$(2) -DZULQUERY_WERROR=ON $(3)

.PHONY: all deps build build-clang test test-asan test-tsan demo bench install clean format format-check

all: build

# Debian packages the build and the tests need (run as root, or with sudo).
deps:
	./scripts/install-deps

build:
	$(call CONFIG,build,RelWithDebInfo,)
	cmake --build build -j $(JOBS)

# Everything, tests included, built by clang for Release with warnings as errors; nothing
# runs. The compiler and build type that users and packagers meet.
build-clang:
	CC=clang CXX=clang++ $(call CONFIG,build-clang,Release,-DZULQUERY_BUILD_BENCH=OFF)
	cmake --build build-clang -j $(JOBS)

# Builds everything and runs the whole suite.
test: build
	cd build && $(CTEST)

test-asan:
	$(call CONFIG,build-asan,Asan,-DZULQUERY_BUILD_BENCH=OFF)
	cmake --build build-asan -j $(JOBS)
	cd build-asan && ASAN_OPTIONS=halt_on_error=1:detect_leaks=1 \
	    UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 $(CTEST)

test-tsan:
	$(call CONFIG,build-tsan,Tsan,-DZULQUERY_BUILD_BENCH=OFF)
	cmake --build build-tsan -j $(JOBS)
	cd build-tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 $(CTEST)

# Starts the simulator, runs the command-line tool against it, stops the simulator.
demo: build
	./scripts/demo build

bench:
	$(call CONFIG,build-bench,RelWithDebInfo,-DZULQUERY_BUILD_TESTS=OFF)
	cmake --build build-bench -j $(JOBS)
	./bench/run build-bench

install: build
	cmake --install build --prefix $(or $(PREFIX),/usr/local)

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

# Fails when a tracked source differs from .clang-format.
format-check:
	git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror

clean:
	rm -rf build build-asan build-tsan build-bench build-clang
