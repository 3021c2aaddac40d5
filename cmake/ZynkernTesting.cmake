# How tests are declared. What they are stands with the subsystems and in tests/CMakeLists.txt.

set(ZYNKERN_LOCALE_DIR ${PROJECT_BINARY_DIR}/locales)

# zynkern_locale(NAME INPUT CHARMAP): compiles a locale into the build folder, where every test
# finds it through LOCPATH. A locale that can't be made fails the build, so that no test has to ask
# whether it is there.
function(zynkern_locale NAME INPUT CHARMAP)
  find_program(ZYNKERN_LOCALEDEF localedef REQUIRED)
  set(result ${ZYNKERN_LOCALE_DIR}/${NAME}/LC_CTYPE)
  # Shift-JIS has a yen sign in the place of the backslash; localedef fails over that unless told
  # that it is known.
  add_custom_command(OUTPUT ${result}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${ZYNKERN_LOCALE_DIR}
    COMMAND ${ZYNKERN_LOCALEDEF} --no-archive --no-warnings=ascii
            --inputfile=${INPUT} --charmap=${CHARMAP} ${ZYNKERN_LOCALE_DIR}/${NAME}
    COMMAND ${CMAKE_COMMAND} -E touch ${result}
    COMMENT "Compiling locale ${NAME}"
    VERBATIM)
  add_custom_target(locale_${NAME} ALL DEPENDS ${result})
endfunction()

# zynkern_add_test(NAME LOCALE COMMAND...): one test, in one locale, with the environment that holds
# for all of them however they are started.
function(zynkern_add_test NAME LOCALE)
  add_test(NAME ${NAME} COMMAND ${ARGN})
  # Those of the machine that the tests run on are none of theirs.
  set(stores ${PROJECT_BINARY_DIR}/tests/stores/${NAME})
  set_tests_properties(${NAME} PROPERTIES
    TIMEOUT 300
    ENVIRONMENT "LOCPATH=${ZYNKERN_LOCALE_DIR};LC_ALL=${LOCALE};\
ZYN_STORE_MACHINE=${stores}/machine/machine.db;ZYN_STORE_USER=${stores}/user/user.db;\
ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1;\
UBSAN_OPTIONS=print_stacktrace=1;TSAN_OPTIONS=halt_on_error=1:allocator_may_return_null=1:\
suppressions=${PROJECT_SOURCE_DIR}/tests/tsan.supp")
endfunction()

# zynkern_unit_tests(NAME TESTS file... [LOCALES locale...]): one GoogleTest program from
# tests/NAME/, linked with the objects of the library. The test NAME runs it in "C", the test
# NAME@LOCALE in that locale.
function(zynkern_unit_tests NAME)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "TESTS;LOCALES")
  set(program ${NAME}_test)
  list(TRANSFORM arg_TESTS PREPEND ${PROJECT_SOURCE_DIR}/tests/${NAME}/)
  set_property(GLOBAL APPEND PROPERTY ZYNKERN_DECLARED_FILES ${arg_TESTS})
  add_executable(${program} ${arg_TESTS})
  set_target_properties(${program} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  target_include_directories(${program} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${program} PRIVATE zynkern_test)
  # The worked examples of the formats are checked against the library.
  target_compile_definitions(${program} PRIVATE ZYNKERN_DOCS_DIR="${PROJECT_SOURCE_DIR}/docs")

  zynkern_add_test(${NAME} C ${program})
  foreach(locale IN LISTS arg_LOCALES)
    zynkern_add_test(${NAME}@${locale} ${locale} ${program})
  endforeach()
endfunction()
