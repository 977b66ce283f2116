# Filled by the subsystems' own install() rules: one flat program directory under the prefix.
