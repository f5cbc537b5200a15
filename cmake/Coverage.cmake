# Counts what the tests run through (./dev coverage, preset "coverage"). Tests are built the same way: a function of a
# header must not come from an object that does not count.
target_compile_options(hotkey_options INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:--coverage;-fprofile-update=atomic>)
target_link_options(hotkey_options INTERFACE --coverage)
