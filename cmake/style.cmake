# The style tests: layout, the linter with a second compiler's warnings, that each module uses its own log, the allowed
# includes between folders, missing includes, the lists of choices and of required oddities, and the presets of test
# groups.

foreach(check format tidy logs layers includes choices oddities presets)
    add_test(NAME style.${check} COMMAND ${PROJECT_SOURCE_DIR}/tests/style/check ${check})
    set_tests_properties(style.${check} PROPERTIES LABELS style TIMEOUT 600)
endforeach()
# The linter takes longest: it starts first.
set_tests_properties(style.tidy PROPERTIES COST 1000)
