# One interface target carries the language level, the platform macros, the warnings and the hardening of every target.
add_library(hotkey_options INTERFACE)
target_include_directories(hotkey_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_features(hotkey_options INTERFACE cxx_std_20)
target_compile_definitions(hotkey_options INTERFACE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00 WINVER=0x0A00)

if(MSVC)
    # The linker refuses objects without the guards' tables, so third-party code and stubs (hotkey_quiet) have them too.
    set(guards $<$<COMPILE_LANGUAGE:C,CXX>:/guard:cf;/guard:ehcont>)
    target_compile_options(hotkey_options INTERFACE
        ${guards}
        $<$<COMPILE_LANGUAGE:C,CXX>:/W4;/utf-8;$<$<BOOL:${HOTKEY_WERROR}>:/WX>>
        $<$<COMPILE_LANGUAGE:CXX>:/permissive-;/Zc:__cplusplus>)
    # The functions of the standard that the run time calls unsafe are the same as with MinGW.
    target_compile_definitions(hotkey_options INTERFACE _CRT_SECURE_NO_WARNINGS)
    target_link_options(hotkey_options INTERFACE
        /guard:cf /guard:ehcont /CETCOMPAT /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT)
else()
    # Each of these finds mistakes here without asking for detours. Left out: -Wpedantic, for which the negative values
    # of WBEMSTATUS overflow an HRESULT, and -Wmissing-declarations, which wants a declaration of wmain.
    set(warnings -Wall -Wextra -Wconversion -Wsign-conversion -Wdouble-promotion -Wshadow -Wold-style-cast -Wcast-qual
        -Woverloaded-virtual -Wsuggest-override -Wformat=2 -Wundef -Wunused-macros -Wextra-semi)
    if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        # Without signs: to clang WBEMSTATUS has one that HRESULT has not.
        list(APPEND warnings -Wno-sign-conversion -Wimplicit-fallthrough -Wunreachable-code-aggressive
            -Wconditional-uninitialized -Wcomma -Wassign-enum -Wstring-conversion -Wheader-hygiene
            -Wmissing-variable-declarations -Wextra-semi-stmt)
    else()
        list(APPEND warnings -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wredundant-tags)
    endif()
    target_compile_options(hotkey_options INTERFACE
        # Absolute paths of the build machine have no place in the program. (The resource compiler takes no such options.)
        $<$<COMPILE_LANGUAGE:C,CXX>:-fstack-protector-strong;-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>
        # Not for C: the exception guard of client/RpcCall.c must stay in one section.
        $<$<COMPILE_LANGUAGE:CXX>:-ffunction-sections;-fdata-sections>
        $<$<COMPILE_LANGUAGE:CXX>:${warnings};$<$<BOOL:${HOTKEY_WERROR}>:-Werror>>
        $<$<COMPILE_LANGUAGE:C>:-Wall;-Wextra;$<$<BOOL:${HOTKEY_WERROR}>:-Werror>>)
    target_link_options(hotkey_options INTERFACE
        -static -fstack-protector-strong -Wl,--gc-sections -Wl,--no-insert-timestamp
        # Page-aligned sections are mapped from the file; others become a private copy in memory.
        -Wl,--file-alignment,4096)
endif()

# For programs whose entry point is wmain.
add_library(hotkey_wide_main INTERFACE)
target_link_options(hotkey_wide_main INTERFACE $<$<BOOL:${MINGW}>:-municode>)

# hotkey_prepare_for_shipping(program): what is installed has its symbols beside it, and names no folder of the build
# machine. (With MinGW each program strips its own.)
function(hotkey_prepare_for_shipping program)
    if(MSVC)
        target_link_options(${program} PRIVATE
            /DEBUG /OPT:REF /OPT:ICF /PDBALTPATH:$<TARGET_PDB_FILE_NAME:${program}>
            # Libraries are looked for in the system's folder only, not beside the program.
            /DEPENDENTLOADFLAG:0x800)
    endif()
endfunction()

# Third-party code (GoogleTest and the like) and generated stubs keep their own warnings to themselves.
add_library(hotkey_quiet INTERFACE)
target_compile_options(hotkey_quiet INTERFACE ${guards} $<IF:$<BOOL:${MSVC}>,/w,-w>)
