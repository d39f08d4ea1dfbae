# Writes OUTPUT, which tells the program the digests of its two libraries: DAEMON, and LAB with PLATFORM under it.
# Debug information is left out, as it names the directories of the build.
function(code_digest result)
    set(digests "")
    foreach(library ${ARGN})
        execute_process(COMMAND ${STRIP} --strip-debug --enable-deterministic-archives -o ${OUTPUT}.stripped ${library}
            COMMAND_ERROR_IS_FATAL ANY)
        file(SHA256 ${OUTPUT}.stripped digest)
        string(APPEND digests ${digest})
    endforeach()
    file(REMOVE ${OUTPUT}.stripped)
    string(SHA256 digest "${digests}")
    string(SUBSTRING ${digest} 0 16 digest)
    set(${result} ${digest} PARENT_SCOPE)
endfunction()

code_digest(daemon ${DAEMON})
code_digest(lab ${LAB} ${PLATFORM})
file(WRITE ${OUTPUT} "#include \"lab/compare/identity.h\"\n\nextern const lab::build_identity THIS_BUILD;\n"
    "const lab::build_identity THIS_BUILD{\"${VERSION}\", \"${daemon}\", \"${lab}\"};\n")
