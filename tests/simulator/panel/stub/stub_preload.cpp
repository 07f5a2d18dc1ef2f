// Can be preloaded, and changes nothing.
