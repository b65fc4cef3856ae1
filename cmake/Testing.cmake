# orvel_add_test(NAME <name> SOURCES <files...> LIBS <targets...> [LABELS <labels...>])
#
# Builds one Qt Test executable and registers it with CTest. Every test runs on the
# offscreen platform with its own scratch HOME, so no test touches the user's files.
# Label "threaded" marks tests that also run under ThreadSanitizer in CI; label "slow"
# marks end-to-end tests.
function(orvel_add_test)
  cmake_parse_arguments(T "" "NAME" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} Qt6::Test)
  orvel_warnings(${T_NAME})
  add_test(NAME ${T_NAME} COMMAND ${T_NAME})
  set(home ${CMAKE_BINARY_DIR}/testhome/${T_NAME})
  set_tests_properties(${T_NAME} PROPERTIES
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;HOME=${home};XDG_CONFIG_HOME=${home}/.config;XDG_RUNTIME_DIR=${home}/run;ORVEL_TEST_BINARY_DIR=${CMAKE_BINARY_DIR}"
    TIMEOUT 300)
  if(T_LABELS)
    set_tests_properties(${T_NAME} PROPERTIES LABELS "${T_LABELS}")
  endif()
  file(MAKE_DIRECTORY ${home}/run)
endfunction()
