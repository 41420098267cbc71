# Thin front of the CMake build. `make demo` and `make test` are all the set-up a machine needs.
MAKEFLAGS += --no-print-directory
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
WERROR ?= $(if $(CI),ON,OFF)
PRESET ?= release
BUILD = build/$(PRESET)

.PHONY: all help deps configure programs demo demo-global test bench accuracy lint install deb deb-test \
        docs clean

all: configure
	@cmake --build $(BUILD) -j $(JOBS)

help:
	@echo 'make                 build the tool and the libraries in $(BUILD)'
	@echo 'make demo            build, then compute grids of real stations and show them'
	@echo 'make demo-global     the same with the global source set, with time and memory'
	@echo 'make test            build, then run every test (PRESET=asan or tsan: with sanitizers)'
	@echo 'make bench           build, then run every benchmark program'
	@echo 'make accuracy        build, then compare travel times with reference tables (REFERENCE=folder)'
	@echo 'make fuzz            build with clang, then fuzz every reader for FUZZ_S=$(FUZZ_S) seconds each'
	@echo 'make lint            check the format; clang-tidy on what changed (ALL=1: on everything)'
	@echo 'make install         build and install below PREFIX=$(PREFIX)'
	@echo 'make deb             build Debian packages in $(BUILD)/deb (make deb-test: and try them)'
	@echo 'make docs            build the reference of the C interface in build/docs/html'
	@echo 'make clean           remove what was built'
	@echo 'Variables: PRESET=release|debug|asan|tsan  JOBS=n  PREFIX=dir  WERROR=ON|OFF'

deps:
	@sh tools/install_deps.sh

configure: deps
	@cmake --preset $(PRESET) -DVELORIX_WERROR=$(WERROR) > /dev/null

test: all
	@ctest --preset $(PRESET) -j $(JOBS)

programs: configure
	@cmake --build $(BUILD) -j $(JOBS) --target velorix velorix-info velorix-assoc

demo: programs
	@sh examples/demo.sh

demo-global: programs
	@sh examples/demo.sh global

bench: all
	@sh benchmarks/run.sh $(BUILD)

# REFERENCE: a folder of reference tables; models they name beyond the built-in ones are found there
# or in VELORIX_MODELPATH.
REFERENCE ?= tests/data/traveltimes
accuracy: all
	@VELORIX_MODELPATH="$(REFERENCE):tests/data/traveltimes:$$VELORIX_MODELPATH" \
	    $(BUILD)/bin/velorix-accuracy $(REFERENCE)

FUZZ_S ?= 60
fuzz: deps
	@sh tools/install_deps.sh clang
	@cmake --preset fuzz -DVELORIX_WERROR=$(WERROR) > /dev/null
	@cmake --build --preset fuzz -j $(JOBS)
	@JOBS=$(JOBS) bash tests/fuzz/run.sh build/fuzz $(FUZZ_S)

lint: configure
	@bash tools/lint.sh $(BUILD)

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
