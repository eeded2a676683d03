find_package(Eigen3 REQUIRED NO_MODULE)
zam_bench(bench_jacobi zam_modules_objects zam_host)
zam_bench(bench_stress zam_modules_objects zam_host Eigen3::Eigen)
