"""Image files, resizing and rotation through the vandrel library, with numpy arrays.

    import vandrel
    rgb = vandrel.read("photo.jpg")            # H x W x 3 uint8
    small = vandrel.resize(rgb, 320)            # bicubic, height follows the aspect ratio
    vandrel.write("small.png", small)
    vandrel.thumbnail("photo.jpg", "thumb.jpg", 160)   # what `vandrel convert` does

Every call runs with the GIL released and on objects of its own thread, so threads scale.
Failures raise vandrel.Error with `code` (the library's status code) and `file`; unfit arrays
raise TypeError or ValueError. Plug-ins come from $VANDREL_PLUGIN_DIR, set_plugin_folder(), or
<prefix>/lib/vandrel/plugins beside the module, as the vandrel tool finds them.
"""

from ._vandrel import (
    Error,
    formats,
    info,
    plugin_folder,
    read,
    resize,
    rotate,
    set_plugin_folder,
    tags,
    thumbnail,
    write,
)

__all__ = [
    "Error",
    "formats",
    "info",
    "plugin_folder",
    "read",
    "resize",
    "rotate",
    "set_plugin_folder",
    "tags",
    "thumbnail",
    "write",
]
