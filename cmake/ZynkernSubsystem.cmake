# zynkern_subsystem(NAME
#   [PUBLIC_HEADERS file...]    installed, and seen by users as <zynkern/file>
#   [PRIVATE_HEADERS file...]   seen by the modules, white-box tests and tools only
#   [SOURCES file...]
#   [TESTS file...]             from tests/NAME/, built into one GoogleTest program
#   [LOCALES locale...])        the tests run in "C", and once more in each of these
#
# Declares the subsystem in the current folder. Headers include each other by plain file name, as
# they do where they are installed, so the folder goes on the include path of all subsystems.
function(zynkern_subsystem NAME)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" ""
    "PUBLIC_HEADERS;PRIVATE_HEADERS;SOURCES;TESTS;LOCALES")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "zynkern_subsystem(${NAME}): what is ${arg_UNPARSED_ARGUMENTS}?")
  endif()

  set(headers ${arg_PUBLIC_HEADERS} ${arg_PRIVATE_HEADERS})
  target_sources(zynkern_objects PRIVATE ${arg_SOURCES})
  target_include_directories(zynkern_objects PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})

  set(files ${headers} ${arg_SOURCES})
  list(TRANSFORM files PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  set_property(GLOBAL APPEND PROPERTY ZYNKERN_DECLARED_FILES ${files})

  foreach(header IN LISTS arg_PUBLIC_HEADERS)
    set(path ${CMAKE_CURRENT_SOURCE_DIR}/${header})
    set_property(TARGET zynkernn APPEND PROPERTY PUBLIC_HEADER ${path})
    # The build tree shows users what the installed tree will: the public headers and no others.
    file(CREATE_LINK ${path} ${ZYNKERN_BUILD_INCLUDE}/zynkern/${header} SYMBOLIC)
  endforeach()
  foreach(header IN LISTS arg_PRIVATE_HEADERS)
    set_property(TARGET zynkern_objects APPEND PROPERTY ZYNKERN_PRIVATE_HEADERS ${header})
  endforeach()

  if(ZYNKERN_TESTS AND arg_TESTS)
    zynkern_unit_tests(${NAME} TESTS ${arg_TESTS} LOCALES ${arg_LOCALES})
  endif()
endfunction()
