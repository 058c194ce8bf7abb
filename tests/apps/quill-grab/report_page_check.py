#!/usr/bin/env python3
"""report_page_check.py DOM POLLS: the page says what report_sample.cpp's run was."""

import html.parser
import sys


class Page(html.parser.HTMLParser):
    """Texts by element id, the attributes of all elements, and the texts of all table cells."""

    VOID = {'meta', 'img', 'input', 'br', 'link', 'hr'}

    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.texts, self.elements, self.rows = {}, [], []
        self.open = []

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        self.elements.append((tag, attributes))
        if tag == 'tr':
            self.rows.append([])
        if tag in ('td', 'th'):
            self.rows[-1].append('')
        if tag not in self.VOID:
            self.open.append((tag, attributes.get('id')))

    def handle_endtag(self, tag):
        while self.open and self.open.pop()[0] != tag:
            pass

    def handle_data(self, data):
        for _, name in self.open:
            if name:
                self.texts[name] = self.texts.get(name, '') + data
        if any(tag in ('td', 'th') for tag, _ in self.open):
            self.rows[-1][-1] += data


failures = 0


def expect(what, actual, expected):
    global failures
    if actual != expected:
        print(f'{what}: {actual!r} instead of {expected!r}', file=sys.stderr)
        failures += 1


page = Page()
with open(sys.argv[1], encoding='utf-8') as file:
    page.feed(file.read())
texts = {name: text.replace('\u00a0', ' ') for name, text in page.texts.items()}
rows = [[cell.replace('\u00a0', ' ') for cell in row] for row in page.rows]
with open(sys.argv[2], encoding='ascii') as file:
    fields = [line.split() for line in file]
# The polls with a frame: (tick, size, ratio).
polls = [(int(tick), f'{width} × {height}', float(ratio)) for tick, width, height, ratio in fields]
new = [poll for poll in polls if poll[2] > 0]
large = sum(size == '1280 × 720' for _, size, _ in polls)

for name, expected in {
    'seconds': '60.000 s',
    'rate': f'{(len(polls) + 15 - 1) / 60:.2f} a second',
    'asked': '30.00 a second',
    'missed': '7',
    'polls': f'{len(polls) + 15:,}',
    'frames': f'{len(polls):,}',
    'without': '15',
    'new': f'{len(new):,}',
    'min': '0.00 %',
    'mean': f'{100 * sum(ratio for _, _, ratio in polls) / len(polls):.2f} %',
    'max': '100.00 %',
    'zero': f'{len(polls) - len(new):,}',
    'sizes': f'1280 × 720 ({large:,} polls), 800 × 600 ({len(polls) - large:,} polls)',
}.items():
    expect(name, texts.get(f'figure-{name}'), expected)

expect('target', texts['target'],
       'window 0x3004e, class Notepad, "</title><b>Notes & \\ \'plans\'</b>"')
expect('the only gap', [row for row in rows if row[0] == '9.900 s'],
       [['9.900 s', '14.000 s', '4.100 s']])
spans = [row for row in rows if len(row) == 5 and row[2] in ('1280 × 720', '800 × 600')]
expect('spans', spans, [
    [f'{first / 30:.3f} s', f'{last / 30:.3f} s', size,
     f'{sum(first <= poll[0] <= last for poll in polls):,}',
     f'{sum(first <= poll[0] <= last for poll in new):,}']
    for first, last, size in [(15, 899, '1280 × 720'), (900, 1349, '800 × 600'),
                              (1350, 1800, '1280 × 720')]])
log = [row for row in rows if len(row) == 3 and row[1] in ('info', 'warning', 'error')]
expect('log', [(level, text) for _, level, text in log], [
    ('info', 'session created'),
    ('info', '</script><script>document.body.dataset.broken = 1</script>'),
    ('warning', '<img src=x onerror="document.body.dataset.broken = 2"> & &lt; \'quoted\''),
    ('warning', '<!--<script> {{data}} \\ " \t tab, \u2028 line separator'),
    ('info', 'size is now 800 x 600'),
    ('error', 'not UTF-8: \ufffd\ufffd; Grüße, 日本')])

# The top left tile blinks with each new frame, so it changes unless an even number of ticks of new
# frames lies between two frames of its size.
blinks = [tick // 3 for tick, size, _ in new if size == '1280 × 720']
resumed = blinks.index(1350 // 3)
pairs = [pair for part in (blinks[:resumed], blinks[resumed:]) for pair in zip(part, part[1:])]
changed = sum((first - second) % 2 for first, second in pairs)
expect('tooltip of the top left tile', texts.get('heat-tooltip'),
       f'x 0 to 31, y 0 to 31{changed} times, {100 * changed / len(pairs):.2f} % of the comparisons')
squares = [attributes for tag, attributes in page.elements if tag == 'rect']
expect('number of changed tiles', f'{len(squares)} of 920 tiles changed' in texts['heat-text'], True)
expect('colours of the tiles', len({square['style'] for square in squares}) > 20, True)
expect('place and size of the top left tile',
       [squares[0][name] for name in ('x', 'y', 'width', 'height')], ['0.5', '0.5', '31', '31'])
heat = [attributes for tag, attributes in page.elements if attributes.get('id') == 'heat']
expect('text of the heat map', len(heat[0].get('aria-label', '')) > 40, True)

canvases = [attributes for tag, attributes in page.elements if tag == 'canvas']
expect('canvases', [canvas['id'] for canvas in canvases], ['ratio', 'rates'])
for canvas in canvases:
    # An empty canvas shows one colour; text alone shows the shades of one.
    expect(f'{canvas["id"]} is drawn', int(canvas.get('data-colors', 0)) > 20, True)
    expect(f'{canvas["id"]} has a text', len(canvas.get('aria-label', '')) > 40, True)

pictures = [(attributes['src'][:22], attributes['alt'][:9])
            for tag, attributes in page.elements if tag == 'img']
expect('pictures', pictures, 8 * [('data:image/png;base64,', 'Frame of ')])
loaded = [value for tag, attributes in page.elements for name, value in attributes.items()
          if name in ('src', 'href') and not value.startswith('data:')]
expect('loaded from elsewhere', loaded, [])
expect('made from texts', [attributes for tag, attributes in page.elements
                           if tag == 'body' and attributes], [])
sys.exit(failures > 0)
