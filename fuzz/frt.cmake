zam_fuzz(fuzz_frt zam_modules_objects zam_host)
