#pragma once

/// Makes the application object that the framework's connections need, once. It is never destroyed,
/// nor should be what uses it: their threads and those of the framework may not outlive each other.
void needApplication();
