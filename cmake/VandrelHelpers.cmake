# One object library per subsystem folder. Sources are picked up by glob so that adding a file
# to a subsystem never touches a shared build file.
function(vandrel_subsystem name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB _sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.c)
  if(NOT _sources)
    # A subsystem that has no code yet still gets its target, so the graph stays whole.
    set(_sources ${CMAKE_CURRENT_BINARY_DIR}/empty_${name}.cpp)
    file(WRITE ${_sources} "")
  endif()
  add_library(vx_${name} OBJECT ${_sources})
  target_include_directories(vx_${name}
    PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_compile_definitions(vx_${name} PRIVATE VANDREL_BUILDING_LIBRARY)
  foreach(_dep IN LISTS ARG_DEPENDS)
    target_link_libraries(vx_${name} PUBLIC vx_${_dep})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY VANDREL_SUBSYSTEMS vx_${name})
endfunction()

# A codec plug-in: a loadable module with no "lib" prefix, placed in the plug-in folder.
# It sees the public headers only and never links libvandrel.
function(vandrel_plugin name)
  cmake_parse_arguments(ARG "" "OUTPUT_DIR" "SOURCES;LIBRARIES;INCLUDES" ${ARGN})
  set(_shipped OFF)
  if(NOT ARG_OUTPUT_DIR)
    set(ARG_OUTPUT_DIR ${VANDREL_PLUGIN_OUTPUT_DIR})
    set(_shipped ON)
  endif()
  add_library(${name} MODULE ${ARG_SOURCES})
  # Plug-ins of the plug-in folder are installed; test doubles (own OUTPUT_DIR) are not.
  if(_shipped)
    set_property(GLOBAL APPEND PROPERTY VANDREL_PLUGIN_TARGETS ${name})
    install(TARGETS ${name} LIBRARY DESTINATION ${VANDREL_PLUGIN_DIR_NAME})
  endif()
  set_target_properties(${name} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${ARG_OUTPUT_DIR})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/include ${ARG_INCLUDES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES})
endfunction()

# One GoogleTest program per test folder, linked against the object libraries it names so that
# tests can reach internals. Every test is labelled with the folder name.
function(vandrel_test_folder name)
  cmake_parse_arguments(ARG "" "" "DEPENDS;LIBRARIES" ${ARGN})
  file(GLOB _sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${name}/*.cpp)
  if(NOT _sources)
    return()
  endif()
  add_executable(test_${name} ${_sources})
  # The static archive of all subsystems gives tests every internal symbol; DEPENDS documents
  # which subsystems a folder exercises and brings their include paths.
  foreach(_dep IN LISTS ARG_DEPENDS)
    target_include_directories(test_${name} PRIVATE $<TARGET_PROPERTY:vx_${_dep},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
  target_link_libraries(test_${name} PRIVATE vandrel_internal ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main
                        Threads::Threads ${CMAKE_DL_LIBS})
  target_include_directories(test_${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_compile_definitions(test_${name} PRIVATE
    VANDREL_TESTDATA_DIR="${PROJECT_SOURCE_DIR}/../shared/testdata"
    VANDREL_PLUGIN_DIR="${VANDREL_PLUGIN_OUTPUT_DIR}"
    VANDREL_TEST_BINARY_DIR="${CMAKE_CURRENT_BINARY_DIR}")
  gtest_discover_tests(test_${name} PROPERTIES LABELS ${name} DISCOVERY_TIMEOUT 60)
endfunction()
