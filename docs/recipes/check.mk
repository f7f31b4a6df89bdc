# A rule for a Makefile: `make checked` checks every tablet below tablets/ that has changed since its last good check.
TABLETS := $(notdir $(patsubst %/,%,$(dir $(wildcard tablets/*/tablet.json))))

.PHONY: checked
checked: $(TABLETS:%=build/%.checked)

.SECONDEXPANSION:
build/%.checked: $$(shell find tablets/$$* -type f)
	mkdir -p build
	vantord-tablet check tablets/$* --junit build/$*.xml --report build/$*.html --force
	touch $@
