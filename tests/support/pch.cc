// Nothing but the options that the precompiled headers of the tests are built with.
