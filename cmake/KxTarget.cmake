# What every target of this project is compiled with. Properties of the targets only, so that a project which takes
# this one in by add_subdirectory() keeps its own flags.

option(KX_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
set(KX_SANITIZERS "" CACHE STRING "Sanitizers to build with, for example address,undefined")

# kx_use_filesystem(): what is built in this folder needs std::filesystem, which macOS has from 10.15 on. Nothing that is
# shipped does.
macro(kx_use_filesystem)
    if(CMAKE_OSX_DEPLOYMENT_TARGET VERSION_LESS 10.15)
        set(CMAKE_OSX_DEPLOYMENT_TARGET 10.15)
    endif()
endmacro()

# kx_configure_target(<target>): language level, warnings and sanitizers.
function(kx_configure_target target)
    target_compile_features(${target} PUBLIC cxx_std_17)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_compile_options(${target} PRIVATE
        $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Wall;-Wextra;-Wpedantic;-Wshadow;-Wconversion>
        $<$<AND:$<BOOL:${KX_WARNINGS_AS_ERRORS}>,$<CXX_COMPILER_ID:GNU,Clang,AppleClang>>:-Werror>
        # Log records and assertions name sources from the project's root on: where it was built is nobody's business.
        $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=>)
    if(KX_SANITIZERS)
        target_compile_options(${target} PRIVATE
            -fsanitize=${KX_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${KX_SANITIZERS})
    endif()
endfunction()

# kx_configure_qt_target(<target>): the same for a target that uses Qt. One with a Q_OBJECT sets AUTOMOC as well.
function(kx_configure_qt_target target)
    kx_configure_target(${target})
    target_compile_definitions(${target} PRIVATE
        # Release builds of Qt drop file, line and function from every message without it.
        QT_MESSAGELOGCONTEXT
        # Keeps our own operator+ for C strings apart from the one of QString.
        QT_NO_CAST_FROM_ASCII
        # What only Qt 6 calls deprecated has no other name in the Qt 5.9 that the sources are written for.
        $<IF:$<EQUAL:${KX_QT_MAJOR},6>,QT_NO_DEPRECATED_WARNINGS,QT_DEPRECATED_WARNINGS>)
    target_compile_options(${target} PRIVATE ${kx_narrow_sizes})
endfunction()
