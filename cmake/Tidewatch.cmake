# Common warning and sanitizer flags, applied to every target of the project.
add_compile_options(-Wall -Wextra)
if(TIDEWATCH_WERROR)
  add_compile_options(-Werror)
endif()

if(TIDEWATCH_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(TIDEWATCH_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(TIDEWATCH_SANITIZE STREQUAL "fuzz")
  # libFuzzer targets (clang only): every library instrumented for coverage, ASan and UBSan.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
    -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(NOT TIDEWATCH_SANITIZE STREQUAL "")
  message(FATAL_ERROR "Unknown TIDEWATCH_SANITIZE value '${TIDEWATCH_SANITIZE}'")
endif()

# Adds every direct subfolder of the current folder that has its own CMakeLists.txt.
function(tidewatch_add_subfolders)
  file(GLOB children LIST_DIRECTORIES true RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/*)
  list(SORT children)
  foreach(child ${children})
    if(IS_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/${child} AND EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${child}/CMakeLists.txt)
      add_subdirectory(${child})
    endif()
  endforeach()
endfunction()

# Environment for tests in a sanitizer build: Qt's platform plugins and the system libraries they
# load leave allocations behind at exit, which the leak checker is told about.
# The runtime's watch on the thread-local blocks of loaded libraries stays off: GCC 12's runtime takes a
# block that happens to start 16 bytes into a page for one with an old glibc's header, reads a made-up
# range from the two words before it, and the leak checker's thread then dies reading that range at exit
# ("Tracer caught signal 11"), failing a test whose every case passed: now and then the window test,
# whose OpenGL driver is such a library. Without the watch the suite reports no more leaks than with it.
set(TIDEWATCH_TEST_SANITIZER_ENV "")
set(TIDEWATCH_OFFSCREEN_SANITIZER_ENV "")
if(TIDEWATCH_SANITIZE STREQUAL "address")
  set(TIDEWATCH_TEST_SANITIZER_ENV
    "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp:intercept_tls_get_addr=0"
    "TIDEWATCH_SANITIZED=1")
  # Qt's libraries have no frame pointers: matching the offscreen plugin's leaks needs whole stacks, from
  # the slow unwinder. The windows under Xvfb go without it, as Mesa's LLVM rasterizer registers its code
  # while that unwinder holds the unwinder's lock (and at a tenth of the speed, the plain rasterizer would
  # cost the test command a minute and a half).
  set(TIDEWATCH_OFFSCREEN_SANITIZER_ENV "ASAN_OPTIONS=fast_unwind_on_malloc=0")
elseif(TIDEWATCH_SANITIZE STREQUAL "thread")
  set(TIDEWATCH_TEST_SANITIZER_ENV
    "TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=${CMAKE_SOURCE_DIR}/tests/tsan.supp"
    "TIDEWATCH_SANITIZED=1" "TIDEWATCH_TSAN=1")
endif()

# A QtTest executable registered with CTest. Widget tests run on the offscreen platform.
#   tidewatch_add_qtest(NAME SOURCES a.cpp ... LIBS tw_x ... [LABELS threaded e2e ...] [TIMEOUT s])
function(tidewatch_add_qtest name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE Qt5::Test ${T_LIBS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/common)
  # One source each: nothing to combine, and a test's own helpers stay private to it.
  set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
  # Only failures and warnings: a failing test's output, as CI shows it, is its failures.
  add_test(NAME ${name} COMMAND ${name} -silent)
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;${TIDEWATCH_TEST_SANITIZER_ENV};${TIDEWATCH_OFFSCREEN_SANITIZER_ENV}"
    LABELS "${T_LABELS}"
    TIMEOUT ${T_TIMEOUT})
endfunction()

find_program(TIDEWATCH_XVFB_RUN xvfb-run)
set(TIDEWATCH_SCREENSHOT_DIR ${CMAKE_BINARY_DIR}/screenshots)

# A QtTest executable that shows real windows on the X platform inside xvfb-run and writes its
# pictures to ${TIDEWATCH_SCREENSHOT_DIR}. Built always; registered only where xvfb-run exists.
#   tidewatch_add_xvfb_qtest(NAME SOURCES a.cpp ... LIBS tw_x ...)
function(tidewatch_add_xvfb_qtest name)
  cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE Qt5::Test tw_screenshot ${T_LIBS})
  set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
  if(NOT TIDEWATCH_XVFB_RUN)
    message(STATUS "xvfb-run not found: ${name} is built but not registered")
    return()
  endif()
  add_test(NAME ${name}
    COMMAND ${TIDEWATCH_XVFB_RUN} -a -s "-screen 0 1280x800x24" $<TARGET_FILE:${name}> -silent)
  set_tests_properties(${name} PROPERTIES
    ENVIRONMENT "QT_QPA_PLATFORM=xcb;TIDEWATCH_SCREENSHOT_DIR=${TIDEWATCH_SCREENSHOT_DIR};${TIDEWATCH_TEST_SANITIZER_ENV}"
    LABELS "widget;xvfb"
    TIMEOUT 120)
endfunction()

# A libFuzzer target of a parser, built only in the fuzz tree (TIDEWATCH_SANITIZE=fuzz) and run by
# scripts/fuzz.sh with the seed corpus in corpus/NAME beside it.
#   tidewatch_add_fuzzer(NAME SOURCES a.cpp ... LIBS tw_x ...)
function(tidewatch_add_fuzzer name)
  if(NOT TIDEWATCH_SANITIZE STREQUAL "fuzz")
    return()
  endif()
  cmake_parse_arguments(F "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${F_SOURCES})
  target_link_libraries(${name} PRIVATE ${F_LIBS})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  set_property(GLOBAL APPEND PROPERTY TIDEWATCH_FUZZERS "${name}=${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name}")
endfunction()
