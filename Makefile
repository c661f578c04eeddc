# The entry points a newcomer needs: `make test` and `make demo`.
BUILD      ?= build
ASAN_BUILD ?= build-asan
PREFIX     ?= /usr/local
JOBS       ?= $(shell nproc)
CTEST_ARGS ?= --output-on-failure --timeout 300 -j $(JOBS)

.PHONY: all deps configure build test asan-build test-asan install demo bench clean format

all: build

deps:
	@scripts/install-deps

$(BUILD)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo

configure: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) $(CTEST_ARGS)

asan-build: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DVXT_SANITIZE=ON
	cmake --build $(ASAN_BUILD) -j $(JOBS)

# Benchmarks and the install test are left out of the sanitizer run: they measure or
# repeat the normal build and say nothing new under the sanitizers.
test-asan: asan-build
	ctest --test-dir $(ASAN_BUILD) $(CTEST_ARGS) -LE 'install|bench'

install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

demo: build
	@if [ -x scripts/demo ]; then scripts/demo $(BUILD); else echo "demo: not available yet"; exit 1; fi

bench: build
	@if [ -x bench/run ]; then bench/run $(BUILD); else echo "bench: no benchmarks yet"; fi

format:
	find include src tests tools examples bench -name '*.h' -o -name '*.cpp' | xargs -r clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
