# cmake -DIN=<stub from widl> -DOUT=<stub> -DNAME=<interface> -P MendStub.cmake
# Brings a stub of widl to what MIDL makes of the same interface definition, in two respects.
#
# 1. widl drops context_handle_noserialize, and the null check of procedure headers and [in, out] handles. Flags:
#    0x80 through a pointer, 0x40 in, 0x20 out, 0x04 not serialised, 0x01 may not be null.
# 2. widl sends the explicit binding handle of an operation as a parameter. It is none on the wire: a client that was
#    built with MIDL sends nothing for it. The parameter's entry goes, and moves behind the procedure as bytes that
#    nothing reads, so that all offsets stay.
#
# Everything mended is counted; a stub that looks different from what this was written for stops the build.
cmake_minimum_required(VERSION 3.25)
file(READ "${IN}" text)

function(expect what found wanted)
    if(NOT found EQUAL wanted)
        message(FATAL_ERROR "${IN}: found ${found} ${what}, expected ${wanted}: this is not the stub that can be mended.")
    endif()
endfunction()

# Replaces a pattern and checks how often it occurred.
function(mend what wanted pattern replacement)
    string(REGEX MATCHALL "${pattern}" found "${text}")
    list(LENGTH found count)
    expect("${what}" ${count} ${wanted})
    string(REGEX REPLACE "${pattern}" "${replacement}" text "${text}")
    set(text "${text}" PARENT_SCOPE)
endfunction()

set(context "(0x30,[^\n]*FC_BIND_CONTEXT[^\n]*\n[ \t]*)")
set(type "(,[ \t]*/[*] Context flags)")
mend("context handles that go in" 6 "${context}0x41${type}" "\\10x45\\2")
mend("context handles that go out" 1 "${context}0xa0${type}" "\\10xa4\\2")
mend("context handles that go in and out" 1 "${context}0xe0${type}" "\\10xe5\\2")
mend("procedures with a context handle" 6 "${context}0x41,\n" "\\10x44,\n")
mend("procedures with a context handle in and out" 1 "${context}0xe0,\n" "\\10xe4,\n")

set(line "[^\n]*\n")
set(binding "/[*] 30 [(]parameter binding[)] [*]/\n[ \t]*NdrFcShort[(]0x48[)],[ \t]*/[*] flags: in, base type [*]/\n${line}${line}${line}")
set(context "/[*] 36 [(]parameter context[)] [*]/\n${line}${line}${line}")
mend("operations with a binding handle" 1
    "(/[*] 0 [(]procedure ${NAME}::Connect[)] [*]/\n${line}${line}${line}${line}${line}[ \t]*0x32,[ \t]*/[*] FC_BIND_PRIMITIVE [*]/\n${line}${line}${line}${line}[ \t]*0x40,\n[ \t]*)0x02,[ \t]*/[*] 2 params [*]/\n(${line}${line}${line}${line}${line}${line})${binding}(${context})"
    "\\10x01,	/* 1 params */\n\\2\\3/* 36 (never read) */\n	NdrFcShort(0x0),\n	NdrFcShort(0x0),\n	NdrFcShort(0x0),\n")

# Nothing of the old kind is left.
string(REGEX MATCHALL "FC_BIND_CONTEXT [*]/\n[ \t]*0x(41|a0|e0)," rest "${text}")
list(LENGTH rest count)
expect("context handles left" ${count} 0)
string(REGEX MATCHALL "FC_BIND_CONTEXT" all "${text}")
list(LENGTH all count)
expect("context handles" ${count} 15)

file(WRITE "${OUT}" "${text}")
