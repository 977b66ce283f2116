# One flat program directory under the prefix; each subsystem installs its own part of it.
install(DIRECTORY docs/ DESTINATION docs FILES_MATCHING PATTERN "*.md" PATTERN "*.json" PATTERN "*.html")
install(DIRECTORY batch-operations DESTINATION .)
