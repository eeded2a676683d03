zam_bench(bench_view zam_host)
