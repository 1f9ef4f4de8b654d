# Sets `variable` to the bytes of `file` as C character literals
# ('\x41','\x42',...), for a .cpp.in template that compiles data in, and
# reconfigures when the file changes.
function(samplenet_embed_bytes file variable)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(READ ${file} hex HEX)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
  set(${variable} "${bytes}" PARENT_SCOPE)
endfunction()
