# Builds one plugin library, NAME.so in the plugin folder, from the given sources. A plugin sees
# the engine only through src/media/plugin_abi.h and links no part of it.
function(lumivaxel_plugin name)
  add_library(plugin_${name} MODULE ${ARGN})
  target_include_directories(plugin_${name} PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/plugins/common)
  set_target_properties(plugin_${name} PROPERTIES
    PREFIX ""
    OUTPUT_NAME ${name}
    LIBRARY_OUTPUT_DIRECTORY ${VEMO_PLUGIN_DIR})
  install(TARGETS plugin_${name} LIBRARY DESTINATION ${VEMO_INSTALL_PLUGIN_DIR})
  # Every symbol must resolve at link time, so nothing is left to find in the engine. The
  # sanitizer runtimes come from the program, so sanitized builds leave that check out.
  if(NOT VEMO_SANITIZE AND NOT VEMO_SANITIZE_THREAD)
    target_link_options(plugin_${name} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()

# A container plugin on the shared FFmpeg writer.
function(lumivaxel_ffmpeg_plugin name)
  lumivaxel_plugin(${name} ${ARGN} ${CMAKE_SOURCE_DIR}/plugins/common/ffexport.cpp)
  target_link_libraries(plugin_${name} PRIVATE PkgConfig::FFMPEG)
endfunction()
