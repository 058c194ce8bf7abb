'use strict';

(() => {
  const data = JSON.parse(document.getElementById('data').textContent);
  const charts = [];
  const maxColumns = 300;  // of a plot over time: more would be narrower than a screen shows

  // Text and tables. Everything from the data goes into the page as text, never as markup.

  const byId = (id) => document.getElementById(id);

  const element = (name, attributes = {}, ...children) => {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
    made.append(...children);
    return made;
  };

  const number = (value, decimals = 0) => value.toLocaleString('en', {
    minimumFractionDigits: decimals, maximumFractionDigits: decimals,
  });
  const percent = (share) => `${number(share * 100, 2)}\u00a0%`;
  const seconds = (value, decimals = 3) => `${number(value, decimals)}\u00a0s`;
  const sizeText = ({width, height}) => `${width}\u00a0×\u00a0${height}`;
  const counted = (count, one, many) => `${number(count)} ${count === 1 ? one : many}`;

  // 1 d 02:03:04 for what is too long to be read as seconds.
  const clock = (value) => {
    const whole = Math.floor(value);
    const days = Math.floor(whole / 86400);
    const parts = [Math.floor(whole / 3600) % 24, Math.floor(whole / 60) % 60, whole % 60];
    const text = parts.map((part) => String(part).padStart(2, '0')).join(':');
    return days > 0 ? `${days} d ${text}` : text;
  };

  // columns: [heading, is a number]; rows: arrays of texts, or functions that give them.
  const table = (caption, columns, rows) => {
    const cell = (name, text, isNumber, extra = '') =>
      element(name, {class: `${isNumber ? 'number' : ''} ${extra}`.trim()}, text);
    const head = columns.map(([heading, isNumber]) => {
      const made = cell('th', heading, isNumber);
      made.scope = 'col';
      return made;
    });
    const body = element('tbody');
    for (const row of rows) {
      body.append(element('tr', {},
        ...row.map((text, i) => cell('td', text, columns[i][1], columns[i][2]))));
    }
    return element('table', {}, element('caption', {}, caption),
      element('thead', {}, element('tr', {}, ...head)), body);
  };

  // The table is made when it is first opened: it may have thousands of rows.
  const lazyTable = (id, make) => byId(id).addEventListener('toggle', () => {
    byId(id).append(element('div', {class: 'scroll high'}, make()));
  }, {once: true});

  const legend = (id, entries) => {
    for (const [variable, text, shape] of entries) {
      const mark = element('i', shape ? {class: shape} : {});
      mark.style[shape === 'dashed' ? 'borderColor' : 'background'] = `var(--${variable})`;
      byId(id).append(element('span', {}, mark, text));
    }
  };

  const hideSection = (id) => { byId(id).closest('section').hidden = true; };

  // Colours, read from the style sheet so that both schemes and paper have their own.

  const color = (name) => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`);
  const heatColor = (share) => {
    const position = Math.min(share, 1) * 3;
    const step = Math.min(Math.floor(position), 2);
    const part = ((position - step) * 100).toFixed(1);
    return `color-mix(in srgb, var(--heat-${step}), var(--heat-${step + 1}) ${part}%)`;
  };

  // Plots over time.

  const timeAxis = (max) => ({
    type: 'linear', min: 0, max, offset: false,
    title: {display: true, text: 'time in seconds'},
    grid: {display: false},
    ticks: {maxRotation: 0, autoSkipPadding: 16, includeBounds: false},
  });

  const plotOptions = (max, yAxis) => ({
    responsive: true, maintainAspectRatio: false, animation: false, parsing: false,
    normalized: true,
    interaction: {mode: 'index', intersect: false},
    scales: {x: timeAxis(max), y: {beginAtZero: true, grid: {drawBorder: false}, ...yAxis}},
    plugins: {legend: {display: false}},
  });

  // The shortest power of two seconds that is at least `shortest` and gives few enough columns.
  const columnSeconds = (shortest) =>
    2 ** Math.ceil(Math.log2(Math.max(shortest, data.figures.seconds / maxColumns)));

  const ratioColumns = (width) => {
    const columns = new Map();
    for (const [at, max, mean, polls] of data.ratios.points) {
      const index = Math.floor(at / width);
      const column = columns.get(index) ?? {at, max, sum: 0, polls: 0};
      if (max > column.max) Object.assign(column, {at, max});
      column.sum += mean * polls;
      column.polls += polls;
      columns.set(index, column);
    }
    return [...columns].map(([index, {at, max, sum, polls}]) =>
      ({x: (index + 0.5) * width, at, max, mean: sum / polls, polls}));
  };

  // Numbered lines at the pictures' times; the chosen one is stronger.
  let chosen = -1;
  const pictureMarks = {
    id: 'pictureMarks',
    afterDatasetsDraw(chart) {
      const {ctx, chartArea: {top, bottom}, scales: {x}} = chart;
      ctx.save();
      ctx.textAlign = 'center';
      data.pictures.forEach((picture, i) => {
        const at = x.getPixelForValue(picture.seconds);
        ctx.fillStyle = ctx.strokeStyle = color(i === chosen ? 'warm' : 'text');
        ctx.globalAlpha = i === chosen ? 1 : 0.55;
        ctx.lineWidth = i === chosen ? 2.5 : 1;
        ctx.beginPath();
        ctx.moveTo(at, top - 2);
        ctx.lineTo(at, bottom);
        ctx.stroke();
        ctx.globalAlpha = 1;
        ctx.font = `${i === chosen ? 'bold ' : ''}12px ${Chart.defaults.font.family}`;
        ctx.fillText(String(i + 1), at, top - 6);
      });
      ctx.restore();
    },
  };

  // width in seconds: left to itself Chart.js takes the least distance between two points.
  const bars = (label, variable, points, width, order) => ({
    type: 'bar', label, data: points, order, grouped: false, backgroundColor: () => color(variable),
    barThickness: ({chart: {scales: {x}}}) => x.getPixelForValue(width) - x.getPixelForValue(0),
  });

  const addChart = (id, configuration) => {
    const chart = new Chart(byId(id), configuration);
    charts.push(chart);
    return chart;
  };

  // Quarters on the linear scale, powers of ten on the logarithmic one.
  const ratioTick = function (value) {
    const wanted = this.type === 'linear' ? value % 0.25 === 0
      : Math.abs(Math.log10(value) - Math.round(Math.log10(value))) < 1e-9;
    return wanted ? `${Number((value * 100).toPrecision(3))} %` : null;
  };

  const showRatios = () => {
    const {figures, ratios} = data;
    const width = columnSeconds(Math.max(ratios.binSeconds, 1 / figures.askedFps));
    const columns = ratioColumns(width);
    const options = plotOptions(columns.at(-1).x + width / 2, {
      min: 0, max: 1, ticks: {stepSize: 0.25, callback: ratioTick},
    });
    options.layout = {padding: {top: 18}};
    options.plugins.tooltip = {callbacks: {
      title: ([item]) => {
        const column = columns[item.dataIndex];
        return `${seconds(column.x - width / 2, 2)} to ${seconds(column.x + width / 2, 2)}`;
      },
      label: (item) => {
        const column = columns[item.dataIndex];
        return item.datasetIndex === 0
          ? `largest ${percent(column.max)} at ${seconds(column.at)}`
          : `mean ${percent(column.mean)} of ${counted(column.polls, 'poll', 'polls')}`;
      },
    }};
    legend('ratio-legend', [['light', 'largest'], ['strong', 'mean of all polls']]);
    const chart = addChart('ratio', {
      data: {datasets: [
        bars('largest', 'light', columns.map(({x, max}) => ({x, y: max})), width, 2),
        bars('mean', 'strong', columns.map(({x, mean}) => ({x, y: mean})), width, 1),
      ]},
      options, plugins: [pictureMarks],
    });
    byId('ratio').setAttribute('aria-label', `Update ratio over ${seconds(figures.seconds, 1)}: ` +
      `minimum ${percent(figures.ratioMin)}, mean ${percent(figures.ratioMean)}, ` +
      `maximum ${percent(figures.ratioMax)}.`);
    byId('ratio-note').textContent =
      `Each column sums up ${width} s: its largest ratio, and the mean of all its polls, repeats ` +
      'with 0 among them.' +
      (data.pictures.length > 0 ? ' The numbered lines are the moments below.' : '');
    const setScale = () => {
      Object.assign(chart.options.scales.y, byId('ratio-scale').checked
        ? {type: 'logarithmic', min: 0.0001} : {type: 'linear', min: 0});
      chart.update('none');
    };
    byId('ratio-scale').addEventListener('change', setScale);
    // Where new frames change little, only the logarithmic scale shows anything.
    const newMean = figures.ratioMean * figures.frames / figures.newFrames;
    byId('ratio-scale').checked = newMean < 0.05;
    setScale();
    lazyTable('ratio-table', () => table(
      `One row for each ${ratios.binSeconds} s with a poll that gave a frame.`,
      [['largest at', true], ['largest ratio', true], ['mean ratio', true], ['polls', true]],
      ratios.points.map(([at, max, mean, polls]) =>
        [seconds(at), percent(max), percent(mean), number(polls)])));
  };

  const showRates = () => {
    const {figures, rates: {binSeconds, bins}} = data;
    // What is left at the end is a poor measure of a rate when it is short. The last poll stands
    // for an interval too.
    const interval = 1 / (figures.achievedFps || figures.askedFps);
    const rest = figures.seconds - (bins.length - 1) * binSeconds;
    const shown = bins.length > 1 && rest < binSeconds / 2 ? bins.slice(0, -1) : bins;
    const points = shown.map(([polls, newFrames, missed], i) => {
      const length = i === bins.length - 1 ? Math.min(rest + interval, binSeconds) : binSeconds;
      return {
        x: (i + 0.5) * binSeconds, polls: polls / length, newFrames: newFrames / length,
        missed: missed / length, asked: figures.askedFps,
      };
    });
    const options = plotOptions(shown.length * binSeconds, {
      stacked: true, title: {display: true, text: 'a second'}, suggestedMax: figures.askedFps * 1.1,
      ticks: {maxTicksLimit: 6},
    });
    options.scales.x.stacked = true;
    options.plugins.tooltip = {callbacks: {
      title: ([{parsed: {x}}]) =>
        `${seconds(x - binSeconds / 2, 0)} to ${seconds(x + binSeconds / 2, 0)}`,
      label: (item) => `${item.dataset.label}: ${number(item.parsed.y, 1)} a second`,
    }};
    const series = (key) => points.map((point) => ({x: point.x, y: point[key]}));
    const line = (label, variable, key, dash) => ({
      type: 'line', label, data: series(key), stack: label, order: 1, borderWidth: 2,
      borderDash: dash, pointRadius: points.length === 1 ? 3 : 0,
      borderColor: () => color(variable), backgroundColor: () => color(variable),
    });
    const stacked = (label, variable, key) => ({
      ...bars(label, variable, series(key), binSeconds, 2), grouped: true, stack: 'polls',
    });
    legend('rates-legend', [['light', 'polls with a frame'], ['warm', 'missed polls'],
      ['strong', 'new frames'], ['faint', 'asked rate', 'dashed']]);
    addChart('rates', {
      data: {datasets: [
        stacked('polls with a frame', 'light', 'polls'),
        stacked('missed polls', 'warm', 'missed'),
        line('new frames', 'strong', 'newFrames', []),
        line('asked rate', 'faint', 'asked', [6, 4]),
      ]},
      options,
    });
    byId('rates-text').textContent =
      `Polls a second, asked for: ${number(figures.askedFps, 2)}, reached: ` +
      `${number(figures.achievedFps, 2)}. A poll is missed when it comes due while the frame ` +
      'before is still being handled, or when it gives no frame after the first.';
    byId('rates').setAttribute('aria-label', byId('rates-text').textContent +
      ` ${counted(figures.missedPolls, 'poll was', 'polls were')} missed.`);
    byId('rates-note').textContent = shown.length === bins.length || rest < 0.01 ? ''
      : `The last ${seconds(rest, 2)} are less than half a column and are left out.`;
    lazyTable('rates-table', () => table('Counts, not rates.',
      [['from', true], ['polls with a frame', true], ['new frames', true], ['missed', true]],
      bins.map(([polls, newFrames, missed], i) =>
        [seconds(i * binSeconds, 0), number(polls), number(newFrames), number(missed)])));
  };

  // The heat map: an SVG image in pixels of the frame, with a square for each tile that changed.

  const svg = (name, attributes) => {
    const made = document.createElementNS('http://www.w3.org/2000/svg', name);
    for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
    return made;
  };

  // Logarithmic: a blinking caret must not hide what changed a few times. 1 time is 0, `most` is 1.
  const heatShare = (count, most) => (most === 1 ? 1 : Math.log(count) / Math.log(most));

  const showHeatLegend = (most, compared) => {
    const middle = Math.round(Math.sqrt(most));
    const values = [...new Set([1, middle, most])];
    const ticks = values.map((value) => element('span', {}, number(value)));
    const ramp = element('span', {class: 'ramp'}, element('i'), ...ticks);
    byId('heat-legend').append('times changed, logarithmic', ramp,
      `most often: in ${percent(most / compared)} of the comparisons`);
  };

  // Labels at round numbers of pixels, at most eight; side: the property that places them.
  const heatLabels = (side, length) => {
    const power = 10 ** Math.floor(Math.log10(length / 8));
    const step = power * [1, 2, 5, 10].find((factor) => factor * power * 8 >= length);
    return Array.from({length: Math.ceil(length / step)}, (_, i) => {
      const label = element('span', {class: side, 'aria-hidden': 'true'}, number(i * step));
      label.style[side] = `${i * step / length * 100}%`;
      return label;
    });
  };

  // One box that follows the pointer from square to square. texts: heading and line of each.
  const heatTooltip = (map, texts) => {
    const box = element('div', {id: 'heat-tooltip', hidden: ''});
    map.addEventListener('pointerover', ({target: square}) => {
      box.hidden = !texts.has(square);
      if (box.hidden) return;
      const [heading, line] = texts.get(square);
      box.replaceChildren(element('b', {}, heading), element('br'), line);
      const whole = map.getBoundingClientRect();
      const {left, top, width} = square.getBoundingClientRect();
      const middle = left + width / 2 - whole.left - box.offsetWidth / 2;
      box.style.left = `${Math.max(0, Math.min(middle, whole.width - box.offsetWidth))}px`;
      box.style.top = `${top - whole.top - box.offsetHeight - 4}px`;
    });
    map.addEventListener('pointerleave', () => { box.hidden = true; });
    return box;
  };

  const showHeat = () => {
    const {heat} = data;
    if (heat === null) return hideSection('heat');
    const {width, height, tile, columns, changes, compared} = heat;
    const most = changes.reduce((a, b) => Math.max(a, b), 0);
    const cells = [];
    changes.forEach((count, i) => {
      if (count === 0) return;
      const [x, y] = [(i % columns) * tile, Math.floor(i / columns) * tile];
      const [right, bottom] = [Math.min(x + tile, width), Math.min(y + tile, height)];
      cells.push({x, y, right, bottom, count});
    });
    const changed = `${number(cells.length)} of ${counted(changes.length, 'tile', 'tiles')}`;

    byId('heat-text').textContent =
      `How often each tile of ${tile} × ${tile} pixels changed between one new frame and the ` +
      `next, for the frames of ${sizeText(heat)}: ${changed} changed at least once in ` +
      `${counted(compared, 'comparison', 'comparisons')}. quill-grab found this by comparing ` +
      'pixels; the library reports only the ratio.';
    const others = heat.others.map((other) => `${sizeText(other)} (${number(other.frames)})`);
    byId('heat-note').textContent = others.length === 0 ? ''
      : `Other sizes, with their new frames: ${others.join(', ')}` +
        (heat.discardedSizes > 0 ? `, and ${number(heat.discardedSizes)} more with few.` : '.');
    if (most === 0) {
      byId('heat-plot').hidden = byId('heat-table').hidden = true;
      return;
    }

    showHeatLegend(most, compared);
    const map = byId('heat');
    map.setAttribute('viewBox', `0 0 ${width} ${height}`);
    map.setAttribute('aria-label', `Heat map of ${sizeText(heat)} pixels: ${changed} ` +
      `changed; the tile that changed most did so ${counted(most, 'time', 'times')}.`);
    // A picture of that size, in grey, lies behind the squares where there is one.
    const picture = data.pictures.find((one) => one.width === width && one.height === height);
    if (picture) map.append(svg('image', {href: picture.png, width, height}));
    const texts = new Map();
    for (const {x, y, right, bottom, count} of cells) {
      // Half a pixel on each side is left free, so that neighbours can be told apart.
      const square = svg('rect',
        {x: x + 0.5, y: y + 0.5, width: right - x - 1, height: bottom - y - 1});
      square.style.fill = heatColor(heatShare(count, most));
      texts.set(square, [`x ${x} to ${right - 1}, y ${y} to ${bottom - 1}`,
        `${counted(count, 'time', 'times')}, ${percent(count / compared)} of the comparisons`]);
      map.append(square);
    }
    const plot = byId('heat-plot');
    plot.append(...heatLabels('left', width), ...heatLabels('top', height),
      heatTooltip(map, texts));
    // The whole map fits on the screen, and the map of a small window stays small.
    const tall = Math.max(70 * width / height, 20).toFixed(1);
    plot.style.width = `min(100% - 2.8rem, ${tall}vh, max(${2 * width}px, 20rem))`;
    lazyTable('heat-table', () => table('The tiles that changed, those that changed most first.',
      [['left', true], ['top', true], ['times', true], ['of the comparisons', true]],
      [...cells].sort((a, b) => b.count - a.count).map(({x, y, count}) =>
        [number(x), number(y), number(count), percent(count / compared)])));
  };

  // The rest of the page.

  const showHeader = () => {
    const {figures} = data;
    byId('target').textContent = data.target;
    const started = new Date(data.started);
    const ended = new Date(started.getTime() + figures.seconds * 1000);
    const time = (date) => date.toLocaleString('en-GB', {
      year: 'numeric', month: 'long', day: 'numeric', hour: '2-digit', minute: '2-digit',
      second: '2-digit', timeZoneName: 'short',
    });
    const facts = [
      ['Started', time(started)],
      ['Ended', `${time(ended)}: ${data.end}`],
      ['Made by', `quill-grab ${data.version}` +
        (data.libraryVersion === null ? '' : `, libquill-wgc ${data.libraryVersion}`)],
    ];
    for (const [name, text] of facts) {
      byId('facts').append(element('dt', {}, name), element('dd', {}, text));
    }
  };

  const showFigures = () => {
    const {figures} = data;
    const add = (id, name, value, {unit = '', kind = '', list = false} = {}) => {
      const shown = element('dd', {id: `figure-${id}`, ...(list ? {class: 'list'} : {})}, value);
      if (unit) shown.append(' ', element('small', {}, unit));
      byId('figures').append(
        element('div', kind ? {class: kind} : {}, element('dt', {}, name), shown));
    };
    const short = figures.seconds < 3600;
    add('seconds', 'Duration', short ? number(figures.seconds, 3) : clock(figures.seconds),
      {unit: short ? 's' : ''});
    add('rate', 'Poll rate reached', number(figures.achievedFps, 2), {unit: 'a second'});
    add('asked', 'Poll rate asked for', number(figures.askedFps, 2), {unit: 'a second'});
    add('missed', 'Missed polls', number(figures.missedPolls),
      {kind: figures.missedPolls > 0 ? 'alert' : ''});
    add('polls', 'Polls', number(figures.polls));
    add('frames', 'Polls with a frame', number(figures.frames));
    add('without', 'Polls without a frame', number(figures.pollsWithoutFrame));
    add('new', 'New frames', number(figures.newFrames));
    if (figures.frames > 0) {
      add('min', 'Smallest ratio', number(figures.ratioMin * 100, 2), {unit: '%'});
      add('mean', 'Mean ratio of all polls', number(figures.ratioMean * 100, 2), {unit: '%'});
      add('max', 'Largest ratio', number(figures.ratioMax * 100, 2), {unit: '%'});
      add('zero', 'Polls with ratio 0', number(figures.ratioZero));
    }
    const sizes = figures.sizes.slice(0, 8)
      .map((size) => `${sizeText(size)} (${counted(size.polls, 'poll', 'polls')})`);
    if (figures.sizeCount > sizes.length) sizes.push(`${figures.sizeCount - sizes.length} more`);
    add('sizes', 'Sizes', sizes.join(', ') || 'none', {kind: 'wide', list: true});
  };

  const choosePicture = (index, buttons) => {
    chosen = chosen === index ? -1 : index;
    buttons.forEach((button, i) => button.setAttribute('aria-pressed', String(i === chosen)));
    Chart.getChart('ratio').draw();
    if (chosen >= 0) byId('ratio-plot').scrollIntoView({block: 'nearest', behavior: 'smooth'});
  };

  const showPictures = () => {
    if (data.pictures.length === 0) return hideSection('pictures');
    byId('pictures-note').textContent =
      'New frames with the largest ratios, in the order of time. Choose one to mark it above.';
    const buttons = data.pictures.map((picture, i) => {
      const size = sizeText(picture);
      return element('button', {type: 'button', 'aria-pressed': 'false'},
        element('img', {
          src: picture.png,
          alt: `Frame of ${size} at ${seconds(picture.seconds)}, ${percent(picture.ratio)} changed`,
        }),
        element('b', {}, `${i + 1}: ${seconds(picture.seconds)}`),
        element('span', {}, `ratio ${percent(picture.ratio)}, ${size}`));
    });
    buttons.forEach((button, i) => {
      button.addEventListener('click', () => choosePicture(i, buttons));
      byId('pictures').append(element('li', {}, button));
    });
  };

  const showSpans = () => {
    const {count, first} = data.sizeSpans;
    if (count === 0) return hideSection('spans');
    byId('spans').append(table('Each row is a run of polls whose frames had one size.',
      [['from', true], ['to', true], ['size', true], ['polls', true], ['new frames', true]],
      first.map((span) => [seconds(span.from), seconds(span.to), sizeText(span), number(span.polls),
        number(span.newFrames)])));
    byId('spans-note').textContent = count > first.length
      ? `The first ${number(first.length)} of ${number(count)} are listed.` : '';
  };

  const showGaps = () => {
    const {minSeconds, count, seconds: total, longest} = data.gaps;
    byId('gaps-text').textContent = count === 0
      ? `None was longer than ${minSeconds} s.`
      : `${counted(count, 'stretch was', 'stretches were')} longer than ${minSeconds} s, ` +
        `${seconds(total, 1)} in all. A picture that stays the same brings no new frames.` +
        (count > longest.length ? ` The ${longest.length} longest:` : '');
    if (count === 0) return;
    byId('gaps').append(table('', [['from', true], ['to', true], ['length', true]],
      longest.map(([from, to]) => [seconds(from), seconds(to), seconds(to - from)])));
  };

  const showLog = () => {
    const {kept, lines} = data.log;
    byId('log-text').textContent = lines.length === 0 ? 'It logged nothing.'
      : lines.length === kept ? `The first ${number(kept)} lines; later ones were not kept.` : '';
    if (lines.length === 0) return;
    const made = table('', [['time', true], ['level', false, 'level'], ['text', false, 'text']],
      lines.map(({seconds: at, level, text}) => [seconds(at), level, text]));
    [...made.tBodies[0].rows].forEach((row, i) => row.classList.add(lines[i].level));
    byId('log').append(made);
  };

  // Charts take their colours when they are drawn, so a change of the scheme draws them again.
  const applyScheme = () => {
    Chart.defaults.color = color('faint');
    Chart.defaults.borderColor = color('line');
    for (const chart of charts) {
      for (const scale of Object.values(chart.options.scales)) {
        scale.ticks.color = scale.title.color = color('faint');
        scale.grid.color = scale.grid.borderColor = color('line');
      }
      chart.update('none');
      chart.resize();
    }
  };

  document.querySelector('main').hidden = false;
  Chart.defaults.font.family = getComputedStyle(document.body).fontFamily;
  applyScheme();
  showHeader();
  showFigures();
  if (data.figures.frames > 0) {
    showRatios();
    showRates();
  } else {
    hideSection('ratio');
    hideSection('rates');
  }
  showPictures();
  showHeat();
  showSpans();
  showGaps();
  showLog();
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', applyScheme);
  matchMedia('print').addEventListener('change', applyScheme);
})();
