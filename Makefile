# The two commands a newcomer needs: `make run` and `make test`. Each installs what is missing.
BUILD ?= build
ASAN_BUILD ?= build-asan
TSAN_BUILD ?= build-tsan
JOBS ?= $(shell nproc 2>/dev/null || sysctl -n hw.ncpu 2>/dev/null || echo 2)
CMAKE_FLAGS ?=
GENERATOR := $(shell command -v ninja >/dev/null 2>&1 && echo "-G Ninja")

.PHONY: all deps configure build run test test-asan test-tsan check-newest format clean install package fuzz bench

all: build

deps:
	@bash scripts/install-deps.sh

# Configuring again is cheap and mends a tree whose last configure failed.
configure: deps
	@cmake -S . -B $(BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=Debug $(CMAKE_FLAGS) >/dev/null
	@# When the build graph changed (new files), Qt's moc must rescan or it can miss new classes.
	@if [ -f $(BUILD)/build.ninja ]; then find $(BUILD) -path '*_autogen/timestamp' ! -newer $(BUILD)/build.ninja -delete; fi

build: configure
	cmake --build $(BUILD) -j $(JOBS)

run: build
	@bash scripts/run-app.sh $(BUILD)

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# ASAN_TARGETS / ASAN_TESTS (a ctest -R pattern) narrow it to a few tests; ASAN_SKIP (ctest -E)
# leaves some out.
test-asan: deps
	cmake -S . -B $(ASAN_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=Debug -DMOXLEY_SANITIZE=ON $(CMAKE_FLAGS)
	cmake --build $(ASAN_BUILD) -j $(JOBS) $(if $(ASAN_TARGETS),--target $(ASAN_TARGETS))
	cd $(ASAN_BUILD) && ctest --output-on-failure -j $(JOBS) $(if $(ASAN_TESTS),-R '$(ASAN_TESTS)') $(if $(ASAN_SKIP),-E '$(ASAN_SKIP)')

# ThreadSanitizer, the same way. Debian's Qt is not built with it, so a race reported inside Qt's
# own locking can be a false one: read each report before believing it.
test-tsan: deps
	cmake -S . -B $(TSAN_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=Debug -DMOXLEY_TSAN=ON $(CMAKE_FLAGS)
	cmake --build $(TSAN_BUILD) -j $(JOBS) $(if $(TSAN_TARGETS),--target $(TSAN_TARGETS))
	cd $(TSAN_BUILD) && ctest --output-on-failure -j $(JOBS) $(if $(TSAN_TESTS),-R '$(TSAN_TESTS)')

# The newest toolchain (Debian 13: clang 19, Qt 6.8, libplist 2.6) in a chroot kept in
# /var/cache/moxley/newest/root (NEWEST_DIR): builds with -Werror and runs the whole suite there. Needs root.
check-newest:
	JOBS=$(JOBS) bash scripts/check-newest.sh

# Formats every tracked C++ file as the format check wants it (Debian 12's clang-format 14).
format:
	git ls-files '*.cpp' '*.h' '*.mm' | xargs clang-format-14 -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD)

# Installs into PREFIX (default /usr/local; on macOS the Homebrew prefix); DESTDIR=... stages the
# files elsewhere.
PREFIX ?= $(shell [ "$$(uname -s)" = Darwin ] && brew --prefix 2>/dev/null || echo /usr/local)
install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

# The Debian package (Linux): a build of its own with Debian's hardening flags, for the programs and
# the update module (without -g: the binaries are stripped), installed under /usr, then CPack's DEB
# generator. Writes $(PACKAGE_BUILD)/moxley_VERSION-RELEASE_ARCH.deb.
PACKAGE_BUILD ?= build-package
package:
	@[ "$$(uname -s)" = Linux ] || { echo "make package: Debian packages are built on Linux"; exit 1; }
	@bash scripts/install-deps.sh --package
	cmake -S . -B $(PACKAGE_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
	  -DMOXLEY_BUILD_TESTS=OFF -DMOXLEY_WERROR=OFF -DMOXLEY_DEBIAN_DOCS=ON \
	  "-DCMAKE_CXX_FLAGS=$$(dpkg-buildflags --get CPPFLAGS) $$(dpkg-buildflags --get CXXFLAGS | sed 's/-g //')" \
	  "-DCMAKE_EXE_LINKER_FLAGS=$$(DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --get LDFLAGS)" \
	  "-DCMAKE_MODULE_LINKER_FLAGS=$$(DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --get LDFLAGS)" >/dev/null
	cmake --build $(PACKAGE_BUILD) -j $(JOBS)
	rm -f $(PACKAGE_BUILD)/moxley_*.deb
	cd $(PACKAGE_BUILD) && cpack -G DEB

# libFuzzer: each target runs FUZZ_RUNS inputs (at most FUZZ_SECONDS) from its corpus in fuzz/corpus/;
# new inputs it finds stay in build-fuzz/corpus, crashes in build-fuzz/findings.
FUZZ_BUILD ?= build-fuzz
FUZZ_RUNS ?= 1000000
FUZZ_SECONDS ?= 600
FUZZ_TARGETS ?= $(notdir $(basename $(wildcard fuzz/fuzz_*.cpp)))
fuzz:
	@bash scripts/install-deps.sh --fuzz
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMOXLEY_FUZZ=ON -DMOXLEY_BUILD_TESTS=OFF -DMOXLEY_WERROR=OFF >/dev/null
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target $(FUZZ_TARGETS)
	@bash scripts/run-fuzzers.sh $(FUZZ_BUILD) $(FUZZ_RUNS) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

# Benchmarks against their references, in Release in their own build folder; prints the table
# and writes it into bench/README.md. BENCH_REPS rounds per side, BENCH_ONLY=history,scan,... for some
# (printed only: the README keeps whole tables).
BENCH_BUILD ?= build-bench
BENCH_REPS ?= 7
BENCH_ONLY ?=
bench: deps
	@cmake -S . -B $(BENCH_BUILD) $(GENERATOR) -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG" -DMOXLEY_BUILD_TESTS=OFF -DMOXLEY_WERROR=OFF -DMOXLEY_BENCH=ON >/dev/null
	@if [ -f $(BENCH_BUILD)/build.ninja ]; then find $(BENCH_BUILD) -path '*_autogen/timestamp' ! -newer $(BENCH_BUILD)/build.ninja -delete; fi
	cmake --build $(BENCH_BUILD) -j $(JOBS) --target bench-all
	$(BENCH_BUILD)/bin/moxley-bench --reps $(BENCH_REPS) $(if $(BENCH_ONLY),--only $(BENCH_ONLY),--readme bench/README.md)
