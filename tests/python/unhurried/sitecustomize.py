"""What a program's interpreter begins with when this folder is in its PYTHONPATH: by itself its clients have all the time they
need, as conftest's have. What the program says itself stays as it is."""

import hostlink

PATIENCE = 100.0  # seconds, as conftest has it

assert hostlink.Client.__init__.__kwdefaults__ is not None
hostlink.Client.__init__.__kwdefaults__.update(deadline=PATIENCE, answer_time=PATIENCE)
baud, _, *others = hostlink.Uart.__init__.__defaults__ or ()
hostlink.Uart.__init__.__defaults__ = (baud, PATIENCE, *others)
