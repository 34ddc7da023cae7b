# Qor 2019 — build, run and test on a Debian machine.
#   make run    installs what is missing, builds, starts the program
#   make test   installs what is missing, builds, runs the tests

BUILD    ?= build
JOBS     ?= $(shell nproc 2>/dev/null || echo 2)
PACKAGES := cmake make g++ qt6-base-dev libqt6sql6-sqlite libqt6sql6-psql qpdf poppler-utils fonts-dejavu-core

.PHONY: all deps build run test bench clean

all: build

# Installs the Debian packages that are missing; when that is not possible,
# says exactly what to install and stops.
deps:
	@missing=""; \
	for p in $(PACKAGES); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "Pacchetti mancanti:$$missing"; \
	  if [ "$$(id -u)" = 0 ]; then SUDO=""; elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then SUDO="sudo"; else SUDO="none"; fi; \
	  if [ "$$SUDO" = none ] || ! command -v apt-get >/dev/null; then \
	    echo "Impossibile installarli automaticamente. Eseguire come amministratore:"; \
	    echo "  apt-get install$$missing"; exit 1; \
	  fi; \
	  $$SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq$$missing >/dev/null || { \
	    echo "Installazione non riuscita. Eseguire come amministratore:"; echo "  apt-get install$$missing"; exit 1; }; \
	fi

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

run: build
	@if [ -z "$$DISPLAY$$WAYLAND_DISPLAY" ] && [ -z "$$QT_QPA_PLATFORM" ]; then \
	  echo "Nessuno schermo disponibile (DISPLAY non impostata): impossibile avviare l'interfaccia grafica."; \
	  echo "Usare la riga di comando: $(BUILD)/qor --help"; exit 1; fi
	$(BUILD)/qor

test: build
	cd $(BUILD) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS)

bench: build
	cmake --build $(BUILD) --target benchmarks -j $(JOBS)
	$(BUILD)/bench/qor_bench

clean:
	rm -rf $(BUILD)
