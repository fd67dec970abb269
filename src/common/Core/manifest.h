#pragma once

#include <memory>

struct Places;

namespace Core {

class ApplicationId;
class Findings;
class ManifestPrivate;

/// The manifest that an application's package carries, read once at construction. That it is
/// there says that the application targets a newer platform. Problems are reported, never raised.
class Manifest
{
public:
    /// Not valid; reads nothing.
    Manifest();
    /// Reads the manifest of `application`, if that is a valid id.
    Manifest(const ApplicationId &application, const Places &places, Findings &findings);
    /// A valid one that was read before.
    explicit Manifest(bool keepsMediaActiveInBackground);
    ~Manifest();
    Manifest(const Manifest &other);
    Manifest &operator=(const Manifest &other);

    /// True when the file was read and its top level is a JSON object.
    [[nodiscard]] bool isValid() const;
    /// Whether the application keeps media playing in the background; false when it does not say.
    [[nodiscard]] bool keepMediaActiveInBackground() const;

private:
    std::unique_ptr<ManifestPrivate> d;
};

} // namespace Core
