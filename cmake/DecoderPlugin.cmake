# A decoder plug-in: a library that a host loads. Those of this family are named extension + ".dll" on every
# platform, and export the nine functions (interface/KvExports.cpp) and nothing else: exports.linux and exports.macos
# hide templates of the standard library.
#
#   add_decoder_plugin(plugin EXTENSION w64 SOURCES a.cpp b.cpp LINKS engine)
function(add_decoder_plugin name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "EXTENSION" "SOURCES;LINKS")
    add_library(${name}_objects OBJECT ${arg_SOURCES}) # without the exported functions
    target_link_libraries(${name}_objects PUBLIC ${arg_LINKS})
    add_library(${name} MODULE)
    target_link_libraries(${name} PRIVATE ${name}_objects exports)
    set_target_properties(${name} PROPERTIES PREFIX "" OUTPUT_NAME ${arg_EXTENSION} SUFFIX .dll
        LIBRARY_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    if(APPLE)
        set(shown ${CMAKE_CURRENT_SOURCE_DIR}/exports.macos)
        target_link_options(${name} PRIVATE -Wl,-exported_symbols_list,${shown})
    else()
        set(shown ${CMAKE_CURRENT_SOURCE_DIR}/exports.linux)
        target_link_options(${name} PRIVATE -Wl,--version-script,${shown})
        if(NOT W64_SANITIZE) # Clang's sanitizers are in the program alone
            target_link_options(${name} PRIVATE -Wl,-z,defs)
        endif()
    endif()
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${shown})
endfunction()
