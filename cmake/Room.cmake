# A room is one source folder, built as one static library whose link line states which rooms it may call.
#
#   sl_room(<name> [DEPENDS <room>...])
#
# Sources are the folder's own *.cpp files (not those of sub-folders). Headers are included by their path from
# the repository's root, but a target sees only the headers of the rooms on its link line: each room's headers are
# linked into a staging folder of their own, so that an include that breaks the calling order fails to build.

function(sl_stage_headers name)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    set(stage ${PROJECT_BINARY_DIR}/rooms/${name})
    file(REMOVE_RECURSE ${stage})
    file(MAKE_DIRECTORY ${stage}/${folder})
    file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    foreach(header ${headers})
        get_filename_component(file_name ${header} NAME)
        file(CREATE_LINK ${header} ${stage}/${folder}/${file_name} COPY_ON_ERROR SYMBOLIC)
    endforeach()
    set(SL_STAGE ${stage} PARENT_SCOPE)
endfunction()

function(sl_room name)
    cmake_parse_arguments(ROOM "" "" "DEPENDS" ${ARGN})
    sl_stage_headers(${name})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    list(FILTER sources EXCLUDE REGEX "_(posix|windows)\\.cpp$")
    if(WIN32)
        file(GLOB system_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_windows.cpp)
    else()
        file(GLOB system_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_posix.cpp)
    endif()
    if(sources OR system_sources)
        add_library(${name} STATIC ${sources} ${system_sources})
        target_include_directories(${name} PUBLIC ${SL_STAGE})
        target_link_libraries(${name} PUBLIC ${ROOM_DEPENDS} PRIVATE sl_warnings)
    else()
        add_library(${name} INTERFACE)
        target_include_directories(${name} INTERFACE ${SL_STAGE})
        target_link_libraries(${name} INTERFACE ${ROOM_DEPENDS})
    endif()
endfunction()
