# POCO's own project takes this in when scripts/setup builds it: of Foundation only the sources that are linked, in a few
# large pieces, because reading the same headers again and again was most of the work. A class of POCO that a link
# misses is entered here. What the library needs is a piece of its own: its DLL does not carry the needs of the stand-in.
set(travik_foundation_library
    ASCIIEncoding Ascii AtomicCounter Bugcheck Debugger DirectoryIterator Environment Exception File Latin1Encoding
    Latin2Encoding Latin9Encoding Mutex Path RWLock StringTokenizer TextConverter TextEncoding TextIterator Timestamp
    UTF16Encoding UTF32Encoding UTF8Encoding UnicodeConverter Windows1250Encoding Windows1251Encoding Windows1252Encoding)
set(travik_foundation_stand_in
    BinaryReader DateTime DateTimeFormat DateTimeFormatter DateTimeParser DigestEngine FileStream FileStreamFactory
    MD5Engine NumberFormatter NumberParser NumericString Random RandomStream SHA1Engine SHA2Engine StreamConverter
    Timespan URI URIStreamFactory URIStreamOpener UUID)
set(travik_foundation_alone UUIDGenerator) # has a name in common with another

# travik_unite(target piece source...): these sources of the target are compiled as one.
function(travik_unite target piece)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    set_source_files_properties(${ARGN} TARGET_DIRECTORY ${target} PROPERTIES UNITY_GROUP ${piece})
endfunction()

function(travik_choose_parts)
    get_target_property(folder Foundation SOURCE_DIR)
    list(TRANSFORM travik_foundation_library REPLACE "(.+)" "${folder}/src/\\1.cpp")
    list(TRANSFORM travik_foundation_stand_in REPLACE "(.+)" "${folder}/src/\\1.cpp")
    list(TRANSFORM travik_foundation_alone REPLACE "(.+)" "${folder}/src/\\1.cpp")
    set_target_properties(Foundation PROPERTIES
        SOURCES "${travik_foundation_library};${travik_foundation_stand_in};${travik_foundation_alone}")
    travik_unite(Foundation library ${travik_foundation_library})
    travik_unite(Foundation stand_in ${travik_foundation_stand_in})

    get_target_property(sources XML SOURCES)
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    travik_unite(XML all ${sources})
endfunction()

cmake_language(DEFER CALL travik_choose_parts)
