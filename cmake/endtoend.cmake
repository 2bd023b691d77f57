# End-to-end tests at scale: crash safety, concurrent loaders, hostile input.
