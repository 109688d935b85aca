target_link_libraries(bench_${name} PRIVATE sqlite3)
