# hotkey_add_rpc_stubs(name): header and stubs of one interface, as the SDK's compiler made them in the folder stubs.
# Targets: <name>_header (include it as <name.h>), <name>_server_stub, <name>_client_stub. The stubs are objects, to be
# put into the library of their routines: each needs the other.
function(hotkey_add_rpc_stubs name)
    set(folder ${CMAKE_CURRENT_SOURCE_DIR}/stubs)
    add_library(${name}_header INTERFACE)
    target_include_directories(${name}_header SYSTEM INTERFACE ${folder})

    foreach(side Server Client)
        string(TOLOWER ${side} letters)
        set(stub ${name}_${letters}_stub)
        set(source ${folder}/${name}${side}.c)
        add_library(${stub} OBJECT ${source})
        target_link_libraries(${stub} PUBLIC hotkey_options ${name}_header rpcrt4 PRIVATE hotkey_quiet)
        set_target_properties(${stub} PROPERTIES CXX_CLANG_TIDY "")
        if(MINGW)
            # The stubs declare their tables extern and define them static, which GCC takes in C++ only and clang as an
            # extension of Microsoft's; they name the processor as Visual Studio does. The tables of both sides may meet
            # in one program.
            set_source_files_properties(${source} PROPERTIES LANGUAGE CXX)
            target_compile_options(${stub} PRIVATE $<IF:$<CXX_COMPILER_ID:Clang>,-fms-extensions,-fpermissive>)
            target_compile_definitions(${stub} PRIVATE _M_AMD64=100
                ${name}__MIDL_ProcFormatString=${name}_${side}ProcFormatString
                ${name}__MIDL_TypeFormatString=${name}_${side}TypeFormatString)
        endif()
    endforeach()
endfunction()
