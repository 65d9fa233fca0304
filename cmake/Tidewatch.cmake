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

# A QtTest executable registered with CTest. Widget tests run on the offscreen platform.
#   tidewatch_add_qtest(NAME SOURCES a.cpp ... LIBS tw_x ... [LABELS threaded e2e ...])
function(tidewatch_add_qtest name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE Qt5::Test ${T_LIBS})
  add_test(NAME ${name} COMMAND ${name})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen"
    LABELS "${T_LABELS}"
    TIMEOUT ${T_TIMEOUT})
endfunction()
