# One flat program directory under the prefix; each subsystem installs its own files.
install(DIRECTORY docs/ DESTINATION docs FILES_MATCHING PATTERN "*.md" PATTERN "*.json" PATTERN "*.html"
  PATTERN "*.sh")
install(DIRECTORY batch-operations DESTINATION .)
