zam_fuzz(profile_fuzz zam_platform)
