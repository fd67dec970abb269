#pragma once

/// Makes the application object that the framework's connections need, once. Neither it nor what
/// uses it is ever destroyed, because the framework's threads may still use them.
void needApplication();
