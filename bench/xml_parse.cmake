# Peers measured against the document tree's parser; linked here only.
target_link_libraries(bench_${name} PRIVATE pugixml xml2)
target_include_directories(bench_${name} PRIVATE /usr/include/libxml2)
