# Kolvo Bridge: a stand-in module so the extension builds until its real code is in place.


def register():
    pass


def unregister():
    pass
