# The sample application runs to completion and prints the port's identifiers.
add_test(NAME example.app COMMAND app_example)
set_tests_properties(example.app PROPERTIES LABELS "unit;example" TIMEOUT 60
  PASS_REGULAR_EXPRESSION "global chip 41, mod_port_phyid 0x0700290a")
