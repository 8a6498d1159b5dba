/*
 * The live page of tvsi-exporter. It asks for the chosen fields once a second, keeps five minutes of them
 * for its charts, and shows texts from elsewhere as texts alone. Everything that is worth sending to a
 * colleague is in the address; nothing is kept anywhere else.
 */
"use strict";

(() => {
  const pollMs = 1000;
  const answerLimitMs = 10000;
  const liveSeconds = 300;
  const shortestSpan = 30; // seconds that a chart shows at least
  const maxFields = 12;
  const maxCharts = 8;
  const rowStep = 200;
  const spans = [[300, "5 minutes"], [3600, "1 hour"], [21600, "6 hours"], [86400, "1 day"], [604800, "7 days"]];
  const dashes = [[], [8, 4], [2, 3], [9, 3, 2, 3]];
  const numColours = 8;

  const $ = (id) => document.getElementById(id);

  // The element with these attributes ("on..." are listeners) and children, texts or elements.
  function make(tag, attributes = {}, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
      if (name.startsWith("on")) {
        element.addEventListener(name.slice(2), value);
      } else if (value !== null) {
        element.setAttribute(name, value);
      }
    }
    element.append(...children);
    return element;
  }

  function setText(element, text) {
    if (element.textContent !== text) {
      element.textContent = text;
    }
  }

  // A long name may break where its words begin.
  function wordsOf(name) {
    return name.split(/(?<=[a-z\d])(?=[A-Z])|(?<=_)/).flatMap((word, i) => i ? [make("wbr"), word] : [word]);
  }

  // --- What the address holds ---------------------------------------------------------------------

  const defaults = {
    cache: "", fields: ["pageLocateCount", "rdbfDiskReads"], chart: "pageLocateCount", span: 300,
    sort: "-pageLocateCount", filter: "", kind: "", process: "", charts: [], zeros: 0,
  };
  let view = structuredClone(defaults);

  const encoded = (value) => encodeURIComponent(value).replaceAll("%2C", ",").replaceAll("%20", "+");

  function addressOf(state) {
    return Object.entries(state)
      .filter(([name, value]) => String(value) !== String(defaults[name]))
      .map(([name, value]) => `${name}=${encoded(value)}`).join("&");
  }

  function readAddress() {
    const words = new URLSearchParams(location.hash.slice(1));
    const state = structuredClone(defaults);
    for (const [name, usual] of Object.entries(defaults)) {
      const text = words.get(name);
      if (text === null) {
        continue;
      }
      state[name] = Array.isArray(usual) ? text.split(",").filter(Boolean)
        : typeof usual === "number" ? Number(text) || usual : text;
    }
    state.fields = state.fields.slice(0, maxFields);
    state.charts = state.charts.slice(0, maxCharts);
    view = state;
  }

  function writeAddress() {
    const address = addressOf(view);
    history.replaceState(null, "", address ? `#${address}` : location.pathname);
  }

  // --- What the exporter says ---------------------------------------------------------------------

  let catalogue = null; // {kinds: by name, fields: by name}
  let caches = null;
  let sample = null; // the last one with processes
  let status = null; // of the cache
  let age = null; // {ms, at}
  const answers = new Map(); // by path: {tag, body}, of what was asked last

  // The answer, also when nothing has changed since; `isNew` tells. Throws what it says when it is none.
  async function ask(path) {
    const known = answers.get(path);
    const limit = new AbortController();
    const timer = setTimeout(() => limit.abort(), answerLimitMs);
    try {
      const headers = known ? { "If-None-Match": known.tag } : {};
      const answer = await fetch(path, { headers, signal: limit.signal, cache: "no-store" });
      const sampleAge = answer.headers.get("Sample-Age-Ms");
      const ageMs = sampleAge === null ? null : Number(sampleAge);
      if (answer.status === 304) {
        return { body: known.body, isNew: false, ageMs };
      }
      if (!answer.ok) {
        throw Object.assign(new Error((await answer.text()).trim()), { isRefusal: true });
      }
      const body = await answer.json();
      const tag = answer.headers.get("ETag");
      if (tag && answer.status === 200) {
        if (answers.size > 8) {
          answers.delete(answers.keys().next().value);
        }
        answers.set(path, { tag, body });
      }
      return { body, isNew: true, ageMs };
    } finally {
      clearTimeout(timer);
    }
  }

  const query = (path, words) => `${path}?${Object.entries(words).map(([name, value]) =>
    `${name}=${encodeURIComponent(value)}`).join("&")}`;

  async function readCatalogue() {
    const { body } = await ask("api/catalogue");
    const kinds = new Map();
    const fields = new Map();
    for (const kind of body.kinds) {
      kind.figures = kind.fields.map((index) => body.fields[index]);
      kinds.set(kind.name, kind);
    }
    for (const field of body.fields) {
      if (!fields.has(field.name)) {
        fields.set(field.name, field);
      }
    }
    catalogue = { kinds, fields };
    $("field-names").replaceChildren(...[...fields.values()].map((field) =>
      make("option", { value: field.name, label: field.sentence })));
  }

  // --- Numbers for people -------------------------------------------------------------------------

  const missing = "–";
  const formats = [0, 1, 2, 3].map((digits) => new Intl.NumberFormat("en", { maximumFractionDigits: digits }));
  const shortFormat = new Intl.NumberFormat("en", { notation: "compact", maximumSignificantDigits: 4 });

  // An exact one, or one with the digits that tell.
  function numberText(number) {
    if (typeof number === "string") {
      return formats[0].format(BigInt(number));
    }
    const size = Math.abs(number);
    return Number.isInteger(number) ? formats[0].format(number)
      : formats[size >= 1000 ? 0 : size >= 10 ? 1 : size >= 1 ? 2 : 3].format(number);
  }

  const two = (number) => String(number).padStart(2, "0");

  function clockText(ms) {
    const time = new Date(ms);
    return `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}`;
  }

  function dateText(ms) {
    const time = new Date(ms);
    return `${time.getFullYear()}-${two(time.getMonth() + 1)}-${two(time.getDate())} ${clockText(ms)}`;
  }

  function valueText(field, value) {
    if (value === null || value === undefined) {
      return missing;
    }
    switch (field.class) {
      case "flag":
        return Number(value) === 0 ? "no" : "yes";
      case "time":
        return Number(value) === 0 ? "never" : dateText(Number(value) * 1000);
      case "state":
      case "identifier":
        return String(value);
      default:
        return numberText(value);
    }
  }

  const rateText = (rate) => (rate === null || rate === undefined ? missing : numberText(rate));
  const isCounter = (field) => field.class === "counter";
  const hasBar = (field) => ["counter", "gauge", "derived"].includes(field.class);
  const shownText = (field, value, rate) => (isCounter(field) ? rateText(rate) : valueText(field, value));

  // "/s", "ms/s", "unit unknown", "".
  function unitText(field, isRate) {
    const slash = isRate || field.perSecond ? "/s" : "";
    return field.unit === "unknown" ? `unit unknown${slash && ", /s"}` : field.symbol + slash;
  }

  const fieldNamed = (name) => catalogue.fields.get(name) ??
    { name, class: "gauge", unit: "none", symbol: "", sentence: "unknown field", group: "", title: name };

  // --- Charts -------------------------------------------------------------------------------------

  const colours = getComputedStyle(document.documentElement);
  const colour = (name) => colours.getPropertyValue(`--${name}`).trim();
  const lineStyle = (index) => ({
    colour: index % numColours, dash: dashes[(index + Math.floor(index / numColours)) % dashes.length],
  });

  // A sample of a line's colour and dashes; colour alone tells nobody apart who can't see it.
  function lineSample(index) {
    const space = "http://www.w3.org/2000/svg";
    const svg = document.createElementNS(space, "svg");
    const line = document.createElementNS(space, "line");
    const style = lineStyle(index);
    const attributes = { x1: 0, y1: 4, x2: 28, y2: 4, "stroke-width": 2, stroke: `var(--line-${style.colour})` };
    for (const [name, value] of Object.entries({ ...attributes, "stroke-dasharray": style.dash.join(" ") })) {
      line.setAttribute(name, value);
    }
    svg.setAttribute("aria-hidden", "true");
    svg.append(line);
    return svg;
  }

  // Lines over time, with what they are called below, and their numbers in a table behind them.
  class Chart {
    constructor(parent) {
      this.plot = make("div", { class: "plot", role: "img" });
      this.legend = make("ul", { class: "legend" });
      this.head = make("thead");
      this.body = make("tbody");
      this.table = make("details", { ontoggle: () => this.fillTable() }, make("summary", {}, "As a table"),
        make("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": "Data of the chart" },
          make("table", {}, this.head, this.body)));
      parent.append(this.plot, this.legend, this.table);
      this.lines = [];
      this.watcher = new ResizeObserver(() => this.fit());
      this.watcher.observe(this.plot);
    }

    // times in seconds; lines: [{name, style, values}]; isRate: from 0 on.
    show(title, span, isRate, times, lines) {
      const shape = JSON.stringify([title, isRate, lines.map(({ name, style }) => [name, style])]);
      this.times = times;
      this.lines = lines;
      const end = times.at(-1);
      this.range = [Math.max(end - span, Math.min(times[0], end - shortestSpan)), end];
      this.isLong = span > 43200;
      if (shape !== this.shape) {
        this.shape = shape;
        this.title = title;
        this.isRate = isRate;
        this.draw();
      } else if (this.chart) {
        this.chart.setData([times, ...lines.map((line) => line.values)]);
      }
      this.plot.setAttribute("aria-label", `${title}: ${lines.map(({ name, values }) =>
        `${name} ${rateText(values.at(-1))}`).join(", ")}. The numbers are in the table below.`);
      this.fillLegend();
      this.fillTable();
    }

    draw() {
      this.chart?.destroy();
      this.chart = null;
      const width = this.plot.clientWidth;
      if (!this.times?.length || width === 0) {
        return;
      }
      const axis = {
        stroke: colour("quiet"), font: "11px system-ui, sans-serif", grid: { stroke: colour("grid"), width: 1 },
        ticks: { stroke: colour("grid"), width: 1, size: 4 },
      };
      const timeLabel = (seconds) => (this.isLong ? dateText(seconds * 1000).slice(5, 16) : clockText(seconds * 1000));
      this.chart = new uPlot({
        width, height: this.plot.clientHeight, legend: { show: false },
        cursor: { drag: { x: false, y: false }, y: false, points: { size: 6 } },
        scales: {
          x: { time: true, range: () => this.range },
          y: { range: (_, low, high) => (low === null ? [0, 1] : uPlot.rangeNum(this.isRate ? Math.min(0, low) : low,
            low === high ? high + 1 : high, 0.08, this.isRate)) },
        },
        axes: [
          { ...axis, size: 26, space: 90, values: (_, ticks) => ticks.map(timeLabel) },
          { ...axis, size: 56, space: 34, values: (_, ticks) => ticks.map((tick) => shortFormat.format(tick)) },
        ],
        hooks: { setCursor: [() => this.fillLegend()] },
        series: [{}, ...this.lines.map((line) => {
          const style = lineStyle(line.style);
          return {
            label: line.name, stroke: colour(`line-${style.colour}`), dash: style.dash, width: 1.6,
            points: { show: (chart) => chart.data[0].length < 3, size: 5 },
          };
        })],
      }, [this.times, ...this.lines.map((line) => line.values)], this.plot);
    }

    fit() {
      if (this.chart && this.plot.clientWidth > 0) {
        this.chart.setSize({ width: this.plot.clientWidth, height: this.plot.clientHeight });
      } else {
        this.draw();
      }
    }

    // Each line's number where the pointer is, else the last one.
    fillLegend() {
      const at = this.chart?.cursor.idx ?? this.times.length - 1;
      while (this.legend.children.length > this.lines.length) {
        this.legend.lastChild.remove();
      }
      this.lines.forEach((line, i) => {
        let item = this.legend.children[i];
        if (!item || item.dataset.style !== String(line.style)) {
          const fresh = make("li", { "data-style": line.style }, lineSample(line.style), make("span"), " ", make("b"));
          item ? item.replaceWith(fresh) : this.legend.append(fresh);
          item = fresh;
        }
        setText(item.querySelector("span"), line.name);
        setText(item.querySelector("b"), rateText(line.values[at]));
      });
    }

    fillTable() {
      if (!this.table.open) {
        return;
      }
      this.head.replaceChildren(make("tr", {}, make("th", { scope: "col" }, "Time"),
        ...this.lines.map((line) => make("th", { scope: "col", class: "number" }, line.name))));
      const rows = this.times.map((time, at) => make("tr", {},
        make("th", { scope: "row" }, this.isLong ? dateText(time * 1000) : clockText(time * 1000)),
        ...this.lines.map((line) => make("td", { class: "number" }, rateText(line.values[at])))));
      this.body.replaceChildren(...rows.reverse());
    }

    remove() {
      this.watcher.disconnect();
      this.chart?.destroy();
    }
  }

  const allCharts = () => [kindChart, ...detail.charts.map(({ chart }) => chart)];
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => allCharts().forEach((chart) => chart.draw()));

  // --- The past, from this page's own samples and from the recording --------------------------------

  // Samples of the last minutes: {ms, of: by kind (or "" for the process), {field: [value, rate]}}.
  class Track {
    constructor() {
      this.entries = [];
    }

    add(ms, of) {
      const last = this.entries.at(-1);
      if (last?.ms === ms) { // other fields of the same sample
        for (const [name, numbers] of of) {
          last.of.set(name, { ...last.of.get(name), ...numbers });
        }
        return;
      }
      if (last && ms < last.ms) { // the server's clock was set
        this.entries = [];
      }
      this.entries.push({ ms, of });
      while (ms - this.entries[0].ms > liveSeconds * 1000) {
        this.entries.shift();
      }
    }
  }

  const plain = (number) => (number === null || number === undefined ? null : Number(number));

  // Seconds and numbers of these names, as far as the recording goes and from then on as seen here;
  // nothing stands between samples that have none between them.
  function linesFrom(past, track, names, field, isRate, span) {
    const times = [];
    const lines = names.map(() => []);
    const gapMs = Math.max(3 * (status?.interval ?? 1), 2 * span / 300, 3) * 1000;
    const add = (ms, numberOf) => {
      const last = times.at(-1) * 1000;
      if (times.length > 0 && ms - last > gapMs) {
        times.push((last + ms) / 2000);
        lines.forEach((line) => line.push(null));
      }
      times.push(ms / 1000);
      lines.forEach((line, i) => line.push(plain(numberOf(names[i]))));
    };
    const end = track.entries.at(-1)?.ms ?? past?.times.at(-1) ?? 0;
    const begin = track.entries[0]?.ms ?? Infinity;
    const at = past ? past.fields.indexOf(field) : -1;
    if (at >= 0) {
      const numbers = (isRate ? past.rates : past.values)[at];
      past.times.forEach((ms, i) => {
        if (ms < begin && ms > end - span * 1000) {
          add(ms, (name) => numbers[name === "" ? 0 : past.kinds.indexOf(name)]?.[i]);
        }
      });
    }
    for (const entry of track.entries) {
      add(entry.ms, (name) => entry.of.get(name)?.[field]?.[isRate ? 1 : 0]);
    }
    return { times, lines };
  }

  let hasRecording = false;
  class Past {
    constructor() {
      this.key = "";
      this.body = null;
    }

    // Asks anew when something else is wanted, or the long view has grown old.
    async follow(words) {
      const key = JSON.stringify(words);
      const isOld = words.seconds > liveSeconds && performance.now() - this.asked > Math.max(15, words.seconds / 100) * 1000;
      if (!hasRecording || words.fields === "" || (key === this.key && !isOld && !this.isPending)) {
        return;
      }
      if (key !== this.key) {
        this.body = null;
      }
      this.key = key;
      this.asked = performance.now();
      const { body } = await ask(query("api/past", words));
      this.isPending = body.pending === true;
      if (!this.isPending && this.key === key) {
        this.body = { ...body, fields: words.fields.split(",") };
      }
    }
  }

  let kindTrack = new Track();
  let kindPast = new Past();
  const kindChart = new Chart($("kind-chart"));

  function chartedFields() {
    return view.fields.includes(view.chart) ? view.fields : [...view.fields, view.chart];
  }

  // Names of the kinds in the catalogue's order: a kind keeps its line from sample to sample.
  function showKindChart() {
    const field = fieldNamed(view.chart);
    const isRate = isCounter(field);
    const unit = unitText(field, isRate);
    setText($("by-kind-title"), isRate ? "Rate by kind" : "Value by kind");
    const seen = new Set(kindTrack.entries.flatMap((entry) => [...entry.of.keys()]));
    kindPast.body?.kinds.forEach((kind) => seen.add(kind));
    const problem = kindPast.body?.problem ?? "";
    $("past-problem").hidden = problem === "";
    setText($("past-problem"), problem && `The recording has not all of the past: ${problem}.`);
    const kinds = [...catalogue.kinds.keys()].filter((kind) => seen.has(kind));
    const { times, lines } = linesFrom(kindPast.body, kindTrack, kinds, view.chart, isRate, view.span);
    if (times.length === 0) {
      return;
    }
    const all = kinds.map((name, i) => ({ name, style: i, values: lines[i] }));
    const moving = all.filter(({ values }) => values.some((value) => value));
    const known = all.filter(({ values }) => values.some((value) => value !== null));
    kindChart.show(`${view.chart}${unit && ` (${unit})`} by kind`, view.span, isRate, times,
      moving.length > 0 ? moving : known.slice(0, 1));
  }

  // --- Tables -------------------------------------------------------------------------------------

  // Gives a table's body these rows, in this order: {id, cells: [{text, class}], chosen}; `begin` makes
  // a new row's first cells. Rows that stay are moved, and keep the focus.
  function fillRows(body, rows, begin) {
    const focused = document.activeElement;
    body.rowsById ??= new Map();
    const kept = new Map();
    rows.forEach((row, i) => {
      let line = body.rowsById.get(row.id);
      if (!line) {
        line = make("tr", { "data-id": row.id });
        begin(line, row);
      }
      kept.set(row.id, line);
      const first = row.skip ?? 0;
      row.cells.forEach((cell, at) => {
        const place = line.children[first + at] ?? line.appendChild(make("td"));
        if (place.className !== cell.class) {
          place.className = cell.class;
        }
        setText(place, cell.text);
        if (cell.share !== undefined) {
          place.style.setProperty("--share", `${cell.share}%`);
        }
      });
      while (line.children.length > first + row.cells.length) {
        line.lastChild.remove();
      }
      line.classList.toggle("chosen", Boolean(row.chosen));
      row.update?.(line);
      if (body.children[i] !== line) {
        body.insertBefore(line, body.children[i] ?? null);
      }
    });
    for (const [id, line] of body.rowsById) {
      if (!kept.has(id)) {
        line.remove();
      }
    }
    body.rowsById = kept;
    if (focused !== document.activeElement && body.contains(focused)) {
      focused.focus({ preventScroll: true });
    }
  }

  // A field's name, and its unit below it with what else there is.
  function headOfField(name, title, ...more) {
    const field = fieldNamed(name);
    return {
      key: name, className: "number", title: field.sentence,
      content: () => [title, make("span", { class: "unit" }, unitText(field, isCounter(field)) || "\u00a0", ...more)],
    };
  }

  function fillHead(table, cells) {
    const shape = JSON.stringify([cells.map(({ key }) => key)]);
    const head = table.tHead;
    if (head.dataset.shape !== shape) {
      head.dataset.shape = shape;
      head.replaceChildren(make("tr", {}, ...cells.map(({ className, title, content }) =>
        make("th", { scope: "col", class: className, title: title ?? null }, ...content()))));
    }
    return [...head.rows[0].cells];
  }

  const textCell = (text) => ({ text, class: "text" });
  const numberCell = (text) => ({ text, class: "number" });

  // With a bar as long as its share of the greatest one in the column.
  function barCell(text, number, greatest) {
    const share = greatest > 0 ? Math.max(0, Math.round((Number(number ?? 0) / greatest) * 100)) : 0;
    return { text, class: "number bar-cell", share };
  }
  const greatestOf = (numbers) => numbers.reduce((most, number) => Math.max(most, Number(number ?? 0)), 0);

  function showKinds() {
    const table = $("kinds").querySelector("table");
    const { kinds } = sample;
    fillHead(table, [
      { key: "", className: "text", content: () => ["Kind"] },
      { key: "", className: "number", content: () => ["Processes"] },
      ...view.fields.map((name) => headOfField(name, make("span", {}, ...wordsOf(name))))]);
    fillRows(table.tBodies[0], kinds.kind.map((kind, k) => ({
      id: kind, skip: 1, chosen: kind === view.kind,
      cells: [numberCell(numberText(kinds.processes[k])), ...view.fields.map((name, f) =>
        numberCell(shownText(fieldNamed(name), kinds.values[f][k], kinds.rates[f]?.[k])))],
      update: (line) => line.querySelector("button").setAttribute("aria-pressed", kind === view.kind),
    })), (line, { id }) => line.append(make("th", { scope: "row", class: "text" },
      make("button", {
        type: "button", class: "plain", title: `Show ${catalogue.kinds.get(id)?.title} alone`,
        onclick: () => change({ kind: view.kind === id ? "" : id }),
      }, id))));
  }

  let rowLimit = rowStep;
  const columns = [["kind", "Kind", "text"], ["pid", "Pid", "number"], ["session", "Session", "number"],
    ["name", "Name", "text name"], ["state", "State", "text"]];

  function processRows() {
    const { processes, kinds } = sample;
    const alike = new Map();
    const rows = [];
    for (let i = 0; i < processes.count; i++) {
      const kind = kinds.kind[processes.kind[i]];
      const front = `${kind}.${processes.pid[i]}.${processes.session[i]}`;
      const nth = alike.get(front) ?? 0;
      alike.set(front, nth + 1);
      rows.push({
        id: `${front}.${nth}`, kind, pid: processes.pid[i], session: processes.session[i], name: processes.name[i],
        state: processes.state[i], numbers: view.fields.map((name, f) =>
          (isCounter(fieldNamed(name)) ? processes.rates[f][i] : processes.values[f][i])),
      });
    }
    return rows;
  }

  // -1, 0 or 1; what is unknown comes last in either direction.
  function compare(one, other, isDescending) {
    if (one === null || other === null) {
      return (one === null) - (other === null);
    }
    const isNumber = typeof one === "number" && typeof other === "number";
    const order = isNumber ? one - other
      : /^-?\d+$/.test(one) && /^-?\d+$/.test(other) ? Number(BigInt(one) - BigInt(other))
        : one < other ? -1 : one > other ? 1 : 0;
    return isDescending ? -order : order;
  }

  function sortedRows(rows) {
    const isDescending = view.sort.startsWith("-");
    const name = isDescending ? view.sort.slice(1) : view.sort;
    const field = view.fields.indexOf(name);
    const keyOf = field >= 0 ? (row) => row.numbers[field] : (row) => row[name] ?? null;
    return rows.map((row) => [keyOf(row), row]).sort((a, b) => compare(a[0], b[0], isDescending)).map(([, row]) => row);
  }

  function sortButton(name, ...content) {
    const isText = ["kind", "name", "state"].includes(name);
    return make("button", {
      type: "button", class: "plain", onclick: () => {
        const first = isText ? name : `-${name}`;
        const second = isText ? `-${name}` : name;
        change({ sort: view.sort === first ? second : first });
      },
    }, ...content);
  }

  function fillProcessHead(table) {
    const names = [...columns.map(([name]) => name), ...view.fields];
    const heads = fillHead(table, [
      ...columns.map(([name, title, className]) => ({
        key: name, className, content: () => [sortButton(name, title)],
      })),
      ...view.fields.map((name) => headOfField(name, sortButton(name, ...wordsOf(name)), make("button", {
        type: "button", class: "remove", "aria-label": `Remove column ${name}`,
        onclick: () => change({ fields: view.fields.filter((other) => other !== name) }),
      }, "×")))]);
    heads.forEach((head, i) => {
      const sorting = view.sort === names[i] ? "ascending" : view.sort === `-${names[i]}` ? "descending" : "none";
      head.setAttribute("aria-sort", sorting);
    });
  }

  function showProcesses() {
    const table = $("processes").querySelector("table");
    fillProcessHead(table);
    const wanted = view.filter.toLowerCase();
    const all = processRows();
    const matching = all.filter((row) => (view.kind === "" || row.kind === view.kind) &&
      (wanted === "" || row.name.toLowerCase().includes(wanted) || String(row.pid).includes(wanted) ||
        String(row.session).includes(wanted)));
    const rows = sortedRows(matching).slice(0, rowLimit);
    const greatest = view.fields.map((name, f) => (hasBar(fieldNamed(name)) ? greatestOf(matching.map((row) => row.numbers[f])) : 0));
    fillRows(table.tBodies[0], rows.map((row) => ({
      id: row.id, skip: 4, name: row.name, chosen: row.id === view.process,
      cells: [textCell(row.state), ...row.numbers.map((number, f) =>
        barCell(shownText(fieldNamed(view.fields[f]), number, number), number, greatest[f]))],
      update: (line) => {
        const button = line.querySelector("button");
        setText(button, row.name || "(no name)");
        button.setAttribute("aria-pressed", row.id === view.process);
      },
      row,
    })), (line, { id, row }) => line.append(make("td", { class: "text" }, row.kind),
      make("td", { class: "number" }, String(row.pid)), make("td", { class: "number" }, String(row.session)),
      make("td", { class: "text name" }, make("button", {
        type: "button", class: "plain", title: "Show its details", onclick: () => openDetail(id, row.kind),
      }))));
    const count = matching.length === all.length ? `${all.length} processes`
      : `${matching.length} of ${all.length} processes`;
    setText($("shown"), status.state === "live" ? count : `${count}, as of ${clockText(sample.time)}`);
    const left = matching.length - rows.length;
    $("more").hidden = left <= 0;
    setText($("more"), `Show ${Math.min(left, rowStep)} more of ${left}`);
  }

  // --- One process --------------------------------------------------------------------------------

  const detail = { id: "", life: "", rows: [], charts: [], track: new Track(), past: new Past(), body: null };

  function openDetail(id, kind) {
    const figures = catalogue.kinds.get(kind).figures;
    const has = (name) => figures.some((figure) => figure.name === name);
    const charts = view.charts.filter(has);
    const usual = catalogue.kinds.get(kind).columns.slice(0, 2);
    change({ process: id, charts: charts.length > 0 ? charts : usual });
    pollNow().then(() => {
      if (view.process === id) {
        $("detail-title").focus();
        $("detail").scrollIntoView({ block: "nearest" });
      }
    });
  }

  function closeDetail() {
    const { process } = view;
    change({ process: "", charts: [] });
    $("processes").querySelector(`tr[data-id="${CSS.escape(process)}"] button`)?.focus();
  }

  const isZero = (value) => value === null || Number(value) === 0;

  // A table of these figures, whose rows are filled with each sample.
  function figureTable(title, figures, heads) {
    const body = make("tbody");
    for (const { figure, at } of figures) {
      const button = make("button", {
        type: "button", class: "plain", title: `Chart: ${figure.sentence}`, onclick: () => toggleChart(figure.name),
      }, ...wordsOf(figure.name));
      const unit = unitText(figure, false);
      const cells = heads.map(() => make("td", { class: "number" }));
      const line = make("tr", { "data-field": figure.name }, make("th", { scope: "row", class: "text" }, button, " ",
        make("span", { class: "unit" }, unit)), ...cells);
      detail.rows.push({ figure, at, line, cells, button });
      body.append(line);
    }
    return [make("h3", {}, title), make("table", { "aria-label": title },
      make("thead", {}, make("tr", {}, make("th", { scope: "col" }, "Field"),
        ...heads.map((head) => make("th", { scope: "col", class: "number" }, head)))), body)];
  }

  function buildDetail(process) {
    const figures = catalogue.kinds.get(process.kind).figures.map((figure, at) => ({ figure, at }));
    const of = (...classes) => figures.filter(({ figure }) => classes.includes(figure.class));
    detail.rows = [];
    $("counters").replaceChildren(...figureTable("Counters", of("counter"), ["per second", "total"]));
    $("gauges").replaceChildren(...figureTable("Derived figures", of("derived"), ["value"]),
      ...figureTable("Gauges", of("gauge", "position"), ["value"]),
      ...figureTable("States, times and identifiers", of("flag", "state", "time", "identifier"), ["value"]));
  }

  function toggleChart(name) {
    const charts = view.charts.includes(name) ? view.charts.filter((other) => other !== name)
      : [...view.charts, name].slice(-maxCharts);
    change({ charts });
  }

  function showDetail() {
    $("detail").hidden = view.process === "";
    const process = detail.body?.process;
    if (view.process === "" || detail.id !== view.process) {
      setText($("detail-title"), view.process.split(".").slice(0, 2).join(" "));
      return;
    }
    $("detail-problem").hidden = Boolean(process);
    setText($("detail-problem"), status.state === "gone" || status.state === "waiting"
      ? "The cache can't be read at the moment."
      : "This process is not in the last sample: it has ended, or its slot belongs to another one.");
    if (process) {
      setText($("detail-title"), `${process.kind} ${process.pid} · ${process.name || "(no name)"}`);
      setText($("detail-facts"), [`session ${process.session}`, process.state,
        process.started === null ? "" : `started ${dateText(process.started)}`,
        process.uid === null ? "" : `user id ${process.uid}`].filter(Boolean).join(" · "));
      const wanted = $("find").value.trim().toLowerCase();
      for (const { figure, at, line, cells } of detail.rows) {
        const value = process.values[at];
        const rate = process.rates[at];
        const texts = isCounter(figure) ? [rateText(rate), valueText(figure, value)] : [valueText(figure, value)];
        cells.forEach((cell, i) => setText(cell, texts[i]));
        line.hidden = !figure.name.toLowerCase().includes(wanted) ||
          (view.zeros !== 1 && isZero(value) && isZero(rate ?? null));
      }
    }
    for (const { figure, button } of detail.rows) {
      button.setAttribute("aria-pressed", view.charts.includes(figure.name));
    }
    showDetailCharts();
  }

  function showDetailCharts() {
    const kind = catalogue.kinds.get(view.process.split(".")[0]);
    const wanted = view.charts.filter((name) => kind?.figures.some((figure) => figure.name === name));
    for (const old of detail.charts.filter(({ name }) => !wanted.includes(name))) {
      old.chart.remove();
      old.element.remove();
    }
    detail.charts = wanted.map((name) => {
      const known = detail.charts.find((old) => old.name === name);
      if (known) {
        return known;
      }
      const figure = kind.figures.find((candidate) => candidate.name === name);
      const element = make("figure", { "data-field": name }, make("figcaption", {},
        make("p", {}, make("b", {}, ...wordsOf(name)), " ",
          make("span", { class: "quiet" }, `${unitText(figure, isCounter(figure))} – ${figure.sentence}`)),
        make("button", {
          type: "button", class: "remove", "aria-label": `Remove chart ${name}`, onclick: () => toggleChart(name),
        }, "×")));
      $("charts").append(element);
      return { name, figure, element, chart: new Chart(element) };
    });
    for (const { name, figure, chart } of detail.charts) {
      const isRate = isCounter(figure);
      const { times, lines } = linesFrom(detail.past.body, detail.track, [""], name, isRate, view.span);
      if (times.length > 0) {
        chart.show(name, view.span, isRate, times, [{ name: isRate ? "per second" : "value", style: 0, values: lines[0] }]);
      }
    }
  }

  function takeDetail(body) {
    const { process } = body;
    const life = process ? [view.cache, view.process, process.started, process.name].join("\n") : detail.life;
    if (detail.id !== view.process || life !== detail.life) { // another one, if by the same address
      Object.assign(detail, { id: view.process, life, track: new Track(), past: new Past() });
      $("counters").replaceChildren();
      $("gauges").replaceChildren();
      detail.rows = [];
      if (process) {
        buildDetail(process);
      }
    }
    detail.body = body;
    if (process && body.time !== detail.track.entries.at(-1)?.ms) {
      const numbers = {};
      catalogue.kinds.get(process.kind).figures.forEach((figure, at) => {
        numbers[figure.name] = [process.values[at], process.rates[at]];
      });
      detail.track.add(body.time, new Map([["", numbers]]));
    }
  }

  // --- The whole ----------------------------------------------------------------------------------

  let isPaused = false;
  let silentSince = null; // when the exporter stopped answering
  let refused = ""; // what it refuses

  function bannerText() {
    if (silentSince !== null) {
      return ["alarm", `EXPORTER DOES NOT ANSWER since ${clockText(silentSince)}. Retrying`];
    }
    if (refused) {
      return ["warning", `The exporter refuses this view: ${refused}.`];
    }
    if (caches && caches.caches.length === 0) {
      return ["warning", `NO CACHE: ${caches.problem || "the exporter looks for them"}. Retrying`];
    }
    switch (status?.state) {
      case "gone":
        return ["alarm", `SERVER GONE ${clockText(status.lost)}: ${status.loss}. Retrying`];
      case "waiting":
        return ["warning", `NOT ATTACHED: ${status.problem || "the cache is being attached"}. Retrying`];
      case "stale":
        return ["warning", `STALE: no sample has come since ${clockText(sample?.time ?? Date.now())}`];
      default:
        return ["", ""];
    }
  }

  function showStatus() {
    const [level, text] = bannerText();
    $("banner").dataset.level = level;
    setText($("banner"), text);
    const state = silentSince !== null ? "no answer" : status?.state ?? "";
    $("state").dataset.state = isPaused ? "paused" : state;
    setText($("state"), isPaused ? `paused, ${state}` : state);
    setText($("slots"), status?.slots ? `${status.used ?? "?"}/${status.slots} slots` : "");
    showAge();
    setText($("whose"), status ? `Brox ${status.brox || "?"}${status.host && ` on ${status.host}`}` : "");
    document.title = [status?.state === "live" ? "" : (status?.state ?? "").toUpperCase(), status?.cache || "Talvex caches"]
      .filter(Boolean).join(" ");
  }

  function showAge() {
    const seconds = age && (age.ms + performance.now() - age.at) / 1000;
    setText($("age"), seconds === null ? "" : `age ${seconds < 100 ? seconds.toFixed(1) : Math.round(seconds)} s`);
  }

  function setOptions(select, options, value) {
    const shape = JSON.stringify(options);
    if (select.dataset.shape !== shape) {
      select.dataset.shape = shape;
      select.replaceChildren(...options.map(([key, text]) => make("option", { value: key }, text)));
    }
    if (select.value !== String(value)) {
      select.value = value;
    }
  }

  function showControls() {
    const known = (caches?.caches ?? []).map((cache) => [cache.id,
      cache.state === "live" ? cache.id : `${cache.id} (${cache.state})`]);
    if (view.cache && !known.some(([id]) => id === view.cache)) {
      known.push([view.cache, view.cache]);
    }
    setOptions($("cache"), known, view.cache);
    setOptions($("chart-field"), chartedFields().map((name) => [name, name]), view.chart);
    setOptions($("kind"), [["", "all"], ...(sample?.kinds.kind ?? []).map((kind) => [kind, kind]),
      ...(view.kind && !sample?.kinds.kind.includes(view.kind) ? [[view.kind, view.kind]] : [])], view.kind);
    setOptions($("span"), spans, view.span);
    $("span-label").hidden = !hasRecording;
    if ($("filter").value !== view.filter && document.activeElement !== $("filter")) {
      $("filter").value = view.filter;
    }
    $("zeros").checked = view.zeros === 1;
    setText($("release"), caches ? `tvsi-exporter ${caches.release}` : "");
  }

  function show() {
    if (!catalogue) {
      showStatus();
      return;
    }
    showStatus();
    showControls();
    if (sample && isForView(sample)) {
      showKinds();
      showProcesses();
      showKindChart();
    }
    showDetail();
  }

  const isForView = (body) => view.fields.every((name, i) => body.fields[i] === name);

  // What a person does: it is shown at once, and asked for where that takes more.
  function change(what) {
    const before = view;
    view = { ...view, ...what };
    if (view.cache !== before.cache) {
      sample = status = age = null;
      kindTrack = new Track();
      kindPast = new Past();
      Object.assign(detail, { id: "", life: "", body: null });
      for (const table of document.querySelectorAll("main > section:not(#detail) tbody")) {
        fillRows(table, [], () => {});
      }
    }
    rowLimit = what.filter === undefined && what.kind === undefined && what.cache === undefined ? rowLimit : rowStep;
    writeAddress();
    show();
    if (["cache", "fields", "chart", "process", "charts", "span"].some((name) => what[name] !== undefined)) {
      pollNow();
    }
  }

  function takeSample(body) {
    status = body.cache;
    if (body.time === null) {
      return; // what was there is shown on, as of its time
    }
    sample = body;
    const of = new Map(body.kinds.kind.map((kind, k) => [kind, Object.fromEntries(body.fields.map((name, f) =>
      [name, [body.kinds.values[f][k], body.kinds.rates[f]?.[k] ?? null]]))]));
    kindTrack.add(body.time, of);
  }

  let lastList = -Infinity;

  async function readCaches() {
    const isDue = performance.now() - lastList > 5000 || status?.state !== "live";
    if (isDue) {
      ({ body: caches } = await ask("api/caches"));
      lastList = performance.now();
      hasRecording = caches.recording;
    }
    const [first] = caches.caches;
    if (view.cache === "" && first) {
      view.cache = first.id;
    }
  }

  async function readAll() {
    if (!catalogue) {
      await readCatalogue();
      const isKnown = (name) => catalogue.fields.has(name);
      const unknown = view.fields.filter((name) => !isKnown(name));
      setText($("field-problem"), unknown.length > 0 ? `There is no field “${unknown.join("”, “")}”.` : "");
      view.fields = view.fields.filter(isKnown);
      view.chart = isKnown(view.chart) ? view.chart : view.fields[0] ?? defaults.chart;
    }
    await readCaches();
    if (view.cache === "") {
      return;
    }
    const { cache, process } = view;
    const [sampled, detailed] = await Promise.all([
      ask(query("api/sample", { cache, fields: chartedFields().join(","), brief: 1 })),
      process ? ask(query("api/process", { cache, process })) : null,
      kindPast.follow({ cache, fields: view.chart, seconds: view.span }),
      process ? detail.past.follow({ cache, fields: view.charts.join(","), seconds: view.span, process }) : null,
    ]);
    if (cache !== view.cache) {
      return;
    }
    age = sampled.ageMs === null ? null : { ms: sampled.ageMs, at: performance.now() };
    if (sampled.isNew || !status || !sample || !isForView(sample)) {
      takeSample(sampled.body);
    }
    if (detailed && process === view.process) {
      takeDetail(detailed.body);
    }
  }

  let timer = null;
  let reading = null;
  let isAgain = false;

  async function readOnce() {
    const begun = performance.now();
    try {
      await readAll();
      silentSince = null;
      refused = "";
    } catch (problem) {
      if (problem.isRefusal) {
        refused = problem.message;
        silentSince = null;
        lastList = -Infinity;
      } else {
        silentSince ??= Date.now();
      }
    }
    show();
    clearTimeout(timer);
    if (!isPaused && !document.hidden) {
      timer = setTimeout(pollNow, Math.max(200, pollMs - (performance.now() - begun)));
    }
  }

  // Asks, once more if it is asking already: what is wanted may be something else by now.
  async function pollNow() {
    if (reading) {
      isAgain = true;
      return reading;
    }
    reading = (async () => {
      do {
        isAgain = false;
        await readOnce();
      } while (isAgain);
      reading = null;
    })();
    return reading;
  }

  function addField(event) {
    event.preventDefault();
    const name = $("field").value.trim();
    const problem = name === "" ? "" : !catalogue.fields.has(name) ? `There is no field “${name}”.`
      : view.fields.length >= maxFields ? `${maxFields} columns are the most; remove one first.` : "";
    setText($("field-problem"), problem);
    if (problem === "" && name !== "") {
      $("field").value = "";
      change(view.fields.includes(name) ? {} : { fields: [...view.fields, name] });
    }
  }

  function setPaused(isNow) {
    isPaused = isNow;
    $("pause").setAttribute("aria-pressed", isPaused);
    setText($("pause"), isPaused ? "Go on" : "Pause");
    clearTimeout(timer);
    if (isPaused) {
      show();
    } else {
      pollNow();
    }
  }

  $("pause").addEventListener("click", () => setPaused(!isPaused));
  $("cache").addEventListener("change", () => change({ cache: $("cache").value, process: "", charts: [] }));
  $("chart-field").addEventListener("change", () => change({ chart: $("chart-field").value }));
  $("span").addEventListener("change", () => change({ span: Number($("span").value) }));
  $("kind").addEventListener("change", () => change({ kind: $("kind").value }));
  $("filter").addEventListener("input", () => change({ filter: $("filter").value }));
  $("find").addEventListener("input", showDetail);
  $("zeros").addEventListener("change", () => change({ zeros: $("zeros").checked ? 1 : 0 }));
  $("add").addEventListener("submit", addField);
  $("close").addEventListener("click", closeDetail);
  $("more").addEventListener("click", () => {
    rowLimit += rowStep;
    show();
  });
  document.addEventListener("keydown", (event) => {
    if (event.key === "Escape" && view.process !== "" && $("detail").contains(document.activeElement)) {
      closeDetail();
    }
  });
  document.addEventListener("visibilitychange", () => {
    clearTimeout(timer);
    if (!document.hidden && !isPaused) {
      pollNow();
    }
  });
  addEventListener("hashchange", () => {
    const { cache } = view;
    readAddress();
    const wanted = view;
    view = { ...view, cache };
    change(wanted);
    $("filter").value = view.filter;
  });
  setInterval(() => document.hidden || isPaused || showAge(), 500);

  readAddress();
  $("filter").value = view.filter;
  pollNow();
})();
