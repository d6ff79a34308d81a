// Holds the precompiled header, which belongs to a target.
