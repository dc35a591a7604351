# Tembrix — top-level commands. `make run` and `make test` install what they need first.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=
WERROR ?= ON

.PHONY: deps configure build run test bench package package-lint sanitize sanitize-asan sanitize-tsan demo format clean

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DTEMBRIX_WERROR=$(WERROR) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

run: build
	@scripts/run-gui $(BUILD)

test: build
	@cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

bench: build
	@scripts/run-benchmarks $(BUILD)

# The Debian package $(BUILD)/tembrix_<version>_<arch>.deb (CPack); package-lint also runs lintian on it.
package: build
	@cd $(BUILD) && cpack -G DEB

package-lint: package
	@lintian --info $(BUILD)/tembrix_*.deb

sanitize: sanitize-asan sanitize-tsan

sanitize-asan: deps
	@cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DTEMBRIX_WERROR=ON -DTEMBRIX_SANITIZE=address,undefined >/dev/null
	@cmake --build build-asan -j $(JOBS)
	@cd build-asan && QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ctest --output-on-failure -j $(JOBS)

# Qt, GLib and the C library are not built for the thread checker: their own uses of our memory are not
# judged (the checker cannot see the locks they hold), and the children that the tests start through
# those libraries may fork while threads run.
TSAN_OPTIONS_TEST = halt_on_error=1 die_after_fork=0 ignore_noninstrumented_modules=1

sanitize-tsan: deps
	@cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DTEMBRIX_WERROR=ON -DTEMBRIX_SANITIZE=thread >/dev/null
	@cmake --build build-tsan -j $(JOBS)
	@cd build-tsan && QT_QPA_PLATFORM=offscreen TSAN_OPTIONS="$(TSAN_OPTIONS_TEST)" ctest --output-on-failure -j $(JOBS)

demo: build
	@scripts/make-demo $(BUILD)

format:
	@find src tests bench -name '*.cpp' -o -name '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) build-asan build-tsan
