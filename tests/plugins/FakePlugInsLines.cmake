# lines/: stand-in codecs that deliver real lines (16 x 12, 24-bit), one that can seek and one
# that cannot, for the pipelines that skip lines.
set(_lines FAKE_LINES FAKE_WIDTH=16 FAKE_HEIGHT=12)
vandrel_fake_plugin(fake_lines_seek lines seek.plugin DEFINES FAKE_NAME="SEEK"
  FAKE_READING="SEEK" FAKE_EXTENSIONS=".seek," FAKE_FORMATS="SEEK," ${_lines})
vandrel_fake_plugin(fake_lines_noseek lines noseek.plugin DEFINES FAKE_NAME="NOSEEK"
  FAKE_READING="NOSEEK" FAKE_EXTENSIONS=".noseek," FAKE_FORMATS="NOSEEK," FAKE_NO_SEEK ${_lines})
