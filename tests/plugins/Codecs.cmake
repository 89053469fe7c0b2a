# The codec tests drive the real plug-in modules and make their own odd inputs (progressive and
# CMYK JPEGs, interlaced PNGs, tiled TIFFs, GIFs with transparency) with the codec libraries
# directly. The test program is made by the parent folder after this part runs, so the wiring
# waits until then.
function(vandrel_wire_codec_tests)
  if(NOT TARGET test_plugins)
    return()
  endif()
  # Imported targets belong to the folder that finds them, which is the one running this.
  find_package(JPEG REQUIRED)
  find_package(PNG REQUIRED)
  find_package(TIFF REQUIRED)
  find_package(GIF REQUIRED)
  foreach(_module VxJpeg VxPng VxTiff VxHeif VxAvif VxWebp VxGif)
    if(TARGET ${_module})
      add_dependencies(test_plugins ${_module})
    endif()
  endforeach()
  target_link_libraries(test_plugins PRIVATE JPEG::JPEG PNG::PNG TIFF::TIFF GIF::GIF)
endfunction()
cmake_language(DEFER DIRECTORY ${PROJECT_SOURCE_DIR}/tests CALL vandrel_wire_codec_tests)
