# Stand-in codec modules for the registry and handle tests, all built from fake/FakePlugIn.cpp
# and laid out in one folder per test situation under <build>/tests/fakeplugins.
set(VANDREL_FAKE_PLUGIN_ROOT ${CMAKE_BINARY_DIR}/tests/fakeplugins)
set(_fake_source ${CMAKE_CURRENT_LIST_DIR}/fake/FakePlugIn.cpp)

# vandrel_fake_plugin(<target> <folder> <file> [DEFINES d...] [COPIES folder/file...])
# COPIES puts byte copies of the module under further names: distinct files, so each copy is
# mapped as a module of its own.
function(vandrel_fake_plugin target folder file)
  cmake_parse_arguments(ARG "" "" "DEFINES;COPIES" ${ARGN})
  vandrel_plugin(${target} SOURCES ${_fake_source} OUTPUT_DIR ${VANDREL_FAKE_PLUGIN_ROOT}/${folder})
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${file} SUFFIX "")
  target_compile_definitions(${target} PRIVATE ${ARG_DEFINES})
  foreach(_copy IN LISTS ARG_COPIES)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:${target}> ${VANDREL_FAKE_PLUGIN_ROOT}/${_copy}
      VERBATIM)
  endforeach()
  set_property(GLOBAL APPEND PROPERTY VANDREL_FAKE_PLUGINS ${target})
endfunction()

set(_jpeg_like FAKE_EXTENSIONS=".jpg," FAKE_FORMATS="JPEG,")

# order/: loaded by sorted path; the dot entry is never loaded.
vandrel_fake_plugin(fake_order_b order b.plugin DEFINES FAKE_NAME="B" FAKE_READING="B"
  FAKE_WRITING="B" FAKE_TAGDB ${_jpeg_like})
vandrel_fake_plugin(fake_order_a order a.plugin DEFINES FAKE_NAME="A" FAKE_READING="A"
  FAKE_WRITING="A" ${_jpeg_like})
vandrel_fake_plugin(fake_order_hidden order .c.plugin DEFINES FAKE_NAME="C" FAKE_READING="C"
  FAKE_WRITING="C" ${_jpeg_like})

# exclude/: names of other products are skipped by exact comparison only.
vandrel_fake_plugin(fake_excluded exclude-src excluded.plugin DEFINES FAKE_NAME="EXCLUDED"
  FAKE_READING="EXCLUDED" FAKE_WRITING="EXCLUDED" ${_jpeg_like}
  COPIES exclude/Tessmor.bundle exclude/Tessmor2.bundle exclude/LensModule exclude/LensModule2)
vandrel_fake_plugin(fake_exclude_lower exclude tessmor.bundle DEFINES FAKE_NAME="LOWER"
  FAKE_READING="LOWER" FAKE_WRITING="LOWER" ${_jpeg_like})

# texts/: one full, one empty, one without a writing type.
vandrel_fake_plugin(fake_text_jpeg texts t1.plugin DEFINES FAKE_NAME="T1" FAKE_READING="JPEG"
  FAKE_WRITING="JPEG" FAKE_EXTENSIONS=".jpg,.jpeg,JPEG," FAKE_FORMATS="JPEG,")
vandrel_fake_plugin(fake_text_empty texts t2.plugin DEFINES FAKE_NAME="T2" FAKE_READING=""
  FAKE_WRITING="" FAKE_EXTENSIONS=".tif," FAKE_FORMATS="TIFF,")
vandrel_fake_plugin(fake_text_null texts t3.plugin DEFINES FAKE_NAME="T3" FAKE_READING=""
  FAKE_EXTENSIONS="" FAKE_FORMATS="")

# broken/: modules that load but give no plug-in, beside one that works and a non-module.
vandrel_fake_plugin(fake_broken_noentry broken noentry.plugin DEFINES FAKE_ENTRY=0
  FAKE_NAME="X" FAKE_READING="X" ${_jpeg_like})
vandrel_fake_plugin(fake_broken_nullproto broken nullproto.plugin DEFINES FAKE_ENTRY=2
  FAKE_NAME="X" FAKE_READING="X" ${_jpeg_like})
vandrel_fake_plugin(fake_broken_ok broken ok.plugin DEFINES FAKE_NAME="OK" FAKE_READING="OK"
  ${_jpeg_like})
file(WRITE ${VANDREL_FAKE_PLUGIN_ROOT}/broken/notamodule.plugin "plain text, not a module\n")

# full/: 33 distinct modules, one more than the load table holds.
set(_copies)
foreach(_i RANGE 0 32)
  string(LENGTH "${_i}" _len)
  if(_len EQUAL 1)
    set(_i "0${_i}")
  endif()
  list(APPEND _copies full/m${_i}.plugin)
endforeach()
vandrel_fake_plugin(fake_full full-src plain.plugin DEFINES FAKE_NAME="P" FAKE_READING="P"
  ${_jpeg_like} COPIES ${_copies})

# handles/: one codec for ".fake" files, one that cannot make instances.
vandrel_fake_plugin(fake_handles handles fake.plugin DEFINES FAKE_NAME="FAKE" FAKE_READING="FAKE"
  FAKE_WRITING="FAKE" FAKE_EXTENSIONS=".fake," FAKE_FORMATS="FAKE,")
vandrel_fake_plugin(fake_handles_noinst handles noinst.plugin DEFINES FAKE_NAME="NOINST"
  FAKE_READING="NOINST" FAKE_EXTENSIONS=".noinst," FAKE_FORMATS="NOINST," FAKE_NO_INSTANCE)
