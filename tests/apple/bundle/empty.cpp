// Stands for every source where empty_source.sh compiles.
