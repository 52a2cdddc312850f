# The sample application runs to completion and prints the port's identifiers.
# (Not run under ThreadSanitizer: the runtime stops in its own start-up in this
# C program, before main; the library's threads are covered by the test programs.)
add_test(NAME example.app COMMAND app_example)
set_tests_properties(example.app PROPERTIES LABELS "unit;example" TIMEOUT 60
  PASS_REGULAR_EXPRESSION "global chip 41, mod_port_phyid 0x0700290a")
