# A stand-in codec for the line and status tests of the service: it reports what a test tells
# it to and records what it is handed (tests/plugins/fake/RecordingPlugIn.h).
vandrel_plugin(fake_recording SOURCES ${CMAKE_CURRENT_LIST_DIR}/fake/RecordingPlugIn.cpp
  OUTPUT_DIR ${CMAKE_BINARY_DIR}/tests/fakeplugins/recording)
set_target_properties(fake_recording PROPERTIES OUTPUT_NAME recording.plugin SUFFIX "")
set_property(GLOBAL APPEND PROPERTY VANDREL_FAKE_PLUGINS fake_recording)
