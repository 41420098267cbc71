# Thin front of the CMake build. `make demo` and `make test` are all the set-up a machine needs.
MAKEFLAGS += --no-print-directory
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
WERROR ?= $(if $(CI),ON,OFF)
PRESET ?= release
BUILD = build/$(PRESET)

.PHONY: bench-peers web-test web-pictures web-bench bench-follow deliveries mutants all help deps configure programs demo demo-global test threads soak bench accuracy fuzz coverage lint install \
        deb deb-test docs clean

all: configure
	@cmake --build $(BUILD) -j $(JOBS)

help:
	@echo 'make                 build the tool and the libraries in $(BUILD)'
	@echo 'make programs        build the four programs alone'
	@echo 'make demo            build, then compute grids of real stations and show them'
	@echo 'make demo-global     the same with the global source set, with time and memory'
	@echo 'make test            build, then run every test (PRESET=asan or tsan: with sanitizers)'
	@echo 'make threads         build with the thread sanitizer, then run the tests that run threads'
	@echo 'make mutants         change the code, one place at a time, and see whether the tests notice (AREA=lib; hours)'
	@echo 'make web-test        the pages, looked at in a headless Chromium'
	@echo 'make web-pictures    pictures of the pages for docs/img'
	@echo 'make web-bench       what a page costs with 70, 1000 and 10000 events'
	@echo 'make soak            10,000 scans and 200 grids in one process'
	@echo 'make bench           build, then run every benchmark program'
	@echo 'make bench-follow    how soon events of a stream are announced (GRID=file PICKS=file)'
	@echo 'make bench-peers     velorix beside other associators of the Python index (FOLDER=folder of your picks)'
	@echo 'make deliveries      final events under random deliveries and starts (GRID=file PICKS=file)'
	@echo 'make accuracy        build, then compare travel times with reference tables (REFERENCE=folder)'
	@echo 'make fuzz            build with clang, then fuzz every reader for FUZZ_S=$(FUZZ_S) seconds each'
	@echo 'make coverage        run every test, then list the lines of lib and platform that none reaches'
	@echo 'make lint            check the format; clang-tidy on what changed (ALL=1: on everything)'
	@echo 'make install         build and install below PREFIX=$(PREFIX)'
	@echo 'make deb             build Debian packages in $(BUILD)/deb (make deb-test: and try them)'
	@echo 'make docs            build the reference of the C interface in build/docs/html'
	@echo 'make clean           remove what was built'
	@echo 'Variables: PRESET=release|debug|asan|tsan  JOBS=n  PREFIX=dir  WERROR=ON|OFF'

# Sanitizers are clang's: it builds with them in a third of the time that GCC takes.
deps:
	@sh tools/install_deps.sh $(if $(filter asan tsan fuzz,$(PRESET)),clang libclang-rt-dev)

configure: deps
	@cmake --preset $(PRESET) -DVELORIX_WERROR=$(WERROR) > /dev/null

test: all
	@ctest --preset $(PRESET) -j $(JOBS)

threads: PRESET = tsan
threads: deps
	@cmake --preset tsan -DVELORIX_WERROR=$(WERROR) > /dev/null
	@cmake --build --preset tsan -j $(JOBS) --target threaded_tests
	@ctest --preset tsan -j $(JOBS) -L threads

# Hours: see docs/quality.md.
AREA ?= assoc
COUNT ?= 100
SEED ?= 2026
mutants: deps
	@python3 tools/mutants/mutants.py $(AREA) $(COUNT) $(SEED) build/mutants/$(AREA)

web-test: programs
	@sh tools/install_deps.sh chromium chromium-driver
	@/usr/bin/python3 tests/web/report_test.py $(BUILD)/bin

web-pictures: programs
	@sh tools/install_deps.sh chromium chromium-driver
	@/usr/bin/python3 tests/web/pictures.py $(BUILD)/bin docs/img

web-bench: programs
	@sh tools/install_deps.sh chromium chromium-driver
	@/usr/bin/python3 tests/web/measure.py $(BUILD)/bin

soak: configure
	@cmake --build $(BUILD) -j $(JOBS) --target soak
	@$(BUILD)/bin/soak 10000 200

programs: configure
	@cmake --build $(BUILD) -j $(JOBS) --target velorix velorix-info velorix-assoc velorix-report

demo: programs
	@sh examples/demo.sh

demo-global: programs
	@sh examples/demo.sh global

bench: all
	@sh benchmarks/run.sh $(BUILD)

# Without GRID and PICKS: the half hour of the examples, whose past is short.
EXAMPLE_GRID = $(BUILD)/italy.vxg
$(EXAMPLE_GRID): programs
	@cd examples/assoc && ../../$(BUILD)/bin/velorix stations.txt > ../../$@ 2> ../../$@.log
GRID ?= $(EXAMPLE_GRID)
PICKS ?= examples/assoc/picks.csv
bench-follow: $(GRID)
	@cmake --build $(BUILD) -j $(JOBS) --target follow_delay
	@$(BUILD)/bin/follow_delay $(GRID) $(PICKS)

# FOLDER: stations.txt, picks.csv and velorix.toml of yours.
bench-peers: configure
	@cmake --build $(BUILD) -j $(JOBS) --target velorix velorix-assoc velorix_python
	@sh python/bench/run.sh $(abspath $(BUILD)) $(FOLDER)

HISTORY ?= 600
deliveries: $(GRID)
	@cmake --build $(BUILD) -j $(JOBS) --target deliveries
	@$(BUILD)/bin/deliveries $(GRID) $(PICKS) 200 50 $(HISTORY)

# REFERENCE: a folder of reference tables; models they name beyond the built-in ones are found there
# or in VELORIX_MODELPATH.
REFERENCE ?= tests/data/traveltimes
accuracy: all
	@VELORIX_MODELPATH="$(REFERENCE):tests/data/traveltimes:$$VELORIX_MODELPATH" \
	    $(BUILD)/bin/velorix-accuracy $(REFERENCE)

FUZZ_S ?= 60
fuzz: PRESET = fuzz
fuzz: deps
	@cmake --preset fuzz -DVELORIX_WERROR=$(WERROR) > /dev/null
	@cmake --build --preset fuzz -j $(JOBS)
	@JOBS=$(JOBS) bash tests/fuzz/run.sh build/asan $(FUZZ_S)

# Without the tests that the counting itself cannot stand: no memory at all, foreign C programs.
coverage: deps
	@sh tools/install_deps.sh gcovr
	@cmake --preset coverage -DVELORIX_WERROR=$(WERROR) > /dev/null
	@cmake --build --preset coverage -j $(JOBS)
	@find build/coverage -name '*.gcda' -delete
	@ctest --preset coverage -j $(JOBS) -E '^consumer$$|WithoutMemory'
	@gcovr --root . --object-directory build/coverage --filter lib/ --filter platform/ \
	    --exclude-throw-branches --gcov-ignore-parse-errors --sort-uncovered --html-details build/coverage/index.html \
	    --txt build/coverage/coverage.txt
	@cat build/coverage/coverage.txt

# clang-tidy cannot read GCC's precompiled headers.
lint: deps
	@cmake --preset release -B build/lint -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON > /dev/null
	@bash tools/lint.sh build/lint

# The prefix is configured too: programs of others that link the libraries look for the share folder
# there when it does not lie beside them.
install: deps
	@cmake --preset $(PRESET) -DVELORIX_WERROR=$(WERROR) -DCMAKE_INSTALL_PREFIX=$(abspath $(PREFIX)) > /dev/null
	@cmake --build $(BUILD) -j $(JOBS) --target velorix_package
	@cmake --install $(BUILD)

deb: deps
	@sh tools/install_deps.sh dpkg-dev file
	@cmake --preset $(PRESET) -DVELORIX_WERROR=$(WERROR) -DCMAKE_INSTALL_PREFIX=/usr > /dev/null
	@cmake --build $(BUILD) -j $(JOBS) --target velorix_package
	@cpack --config $(BUILD)/CPackConfig.cmake -B $(BUILD)/deb

deb-test: deb
	@sh tests/package/run.sh $(BUILD)/deb

docs:
	@sh tools/install_deps.sh doxygen
	@mkdir -p build/docs && doxygen docs/Doxyfile
	@echo 'build/docs/html/index.html'

clean:
	rm -rf build demo-out
