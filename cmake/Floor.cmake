# A floor: a folder that is one library and sees only the folders that it links.
#
#   add_floor(container FOLDER wave64/container SOURCES a.cpp b.cpp LINKS base audio_format)
#
# Headers are included by their path from the top of the tree ("audio/format/XAudioWFX.h"). Each library has its own
# include folder, which contains only a link to its sources, so including a header of a floor that is not linked
# fails.
function(add_floor name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "FOLDER" "SOURCES;LINKS")
    set(view ${PROJECT_BINARY_DIR}/floors/${name})
    cmake_path(GET arg_FOLDER PARENT_PATH parent)
    file(MAKE_DIRECTORY ${view}/${parent})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${view}/${arg_FOLDER} SYMBOLIC)

    if(NOT arg_SOURCES) # headers alone
        add_library(${name} INTERFACE)
        target_include_directories(${name} INTERFACE ${view})
        target_link_libraries(${name} INTERFACE ${arg_LINKS})
        return()
    endif()
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC ${view})
    target_link_libraries(${name} PUBLIC ${arg_LINKS})
endfunction()
