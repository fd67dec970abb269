# The commands of the README; everything else is CMake's (see CMakePresets.json).
.PHONY: demo test package

demo:
	@scripts/demo

test:
	@scripts/test

package:
	@scripts/package
