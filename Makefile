# Thin front of the CMake build. `make demo` and `make test` are all the set-up a machine needs.
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
WERROR ?= $(if $(CI),ON,OFF)
PRESET ?= release
BUILD = build/$(PRESET)

.PHONY: all deps configure demo test bench lint install clean

all: configure
	cmake --build $(BUILD) -j $(JOBS)

deps:
	@sh tools/install_deps.sh

configure: deps
	@cmake --preset $(PRESET) -DVELORIX_WERROR=$(WERROR) > /dev/null

test: all
	ctest --preset $(PRESET) -j $(JOBS)

demo: all
	sh examples/demo.sh

bench: all
	sh benchmarks/run.sh

lint: configure
	sh tools/lint.sh

install: all
	cmake --install $(BUILD) --prefix $(PREFIX)

clean:
	rm -rf build demo-out
