"use strict";
// Draws the charts of a report from its data, lists their data on demand, and sorts tables.
(() => {
  // The page's policy lets no style attribute in; styles that are set as properties pass, and it is the same to see.
  const setAttribute = Element.prototype.setAttribute;
  Element.prototype.setAttribute = function (name, value) {
    if (name === "style") {
      this.style.cssText = value;
    } else {
      setAttribute.call(this, name, value);
    }
  };

  const charts = JSON.parse(document.getElementById("charts").textContent);
  const figures = [...document.querySelectorAll("figure.chart")];
  const library = window.echarts;
  const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue("--" + name.replace("_", "-"));
  const symbols = { red: "circle", green_red: "triangle", green_blue: "rect", blue: "diamond", plain: "circle" };
  // Both can be told apart by people who do not see red or green, and in grey.
  const sequential = ["#440154", "#3b528b", "#21918c", "#5ec962", "#fde725"];
  const diverging = ["#2166ac", "#67a9cf", "#f7f7f7", "#ef8a62", "#b2182b"];
  const shown = (value, digits = 5) => (typeof value === "number" ? String(Number(value.toPrecision(digits))) : value || "");

  function axis(of, more) {
    const line = { lineStyle: { color: colour("faint") } };
    return {
      type: of.log ? "log" : "value",
      name: of.name,
      nameLocation: "middle",
      nameGap: 26,
      nameTextStyle: { color: colour("faint") },
      scale: true,
      min: of.low,
      max: of.high,
      axisLine: line,
      axisLabel: { color: colour("faint"), hideOverlap: true, formatter: (value) => shown(value) },
      splitLine: { lineStyle: { color: colour("rule") } },
      ...more,
    };
  }

  const kinds = {
    points: (series) => ({ type: "scatter", symbolSize: 7, symbol: symbols[series.tint] || "circle" }),
    line: () => ({ type: "line", showSymbol: false, lineStyle: { width: 1.5 } }),
    dashes: () => ({ type: "line", showSymbol: false, lineStyle: { width: 1.5, type: "dashed" } }),
    steps: () => ({ type: "line", step: "middle", showSymbol: false, lineStyle: { width: 1.5 } }),
    bars: () => ({ type: "bar", barGap: "0%" }),
    arrows: () => ({ type: "lines", coordinateSystem: "cartesian2d", symbol: ["none", "arrow"], symbolSize: 6 }),
  };

  function seriesOf(series, plot) {
    const made = { name: series.name, ...kinds[series.kind](series) };
    const own = colour(series.tint);
    made.itemStyle = { color: own };
    made.lineStyle = { ...made.lineStyle, color: own };
    if (series.kind === "bars") {
      made.data = series.points.map((point) => point[1]);
    } else if (series.kind === "arrows") {
      made.lineStyle.width = 1.5;
      made.data = [];
      for (let i = 0; i + 1 < series.points.length; i += 2) {
        const name = series.labels ? series.labels[i / 2] : "";
        made.data.push({ name, coords: [series.points[i], series.points[i + 1]] });
      }
    } else {
      made.data = series.points.map((point, i) => ({ value: point, name: series.labels ? series.labels[i] : "" }));
      const few = series.points.length <= 12;
      // Of many units' small plots those that lie off are named; the others stand in the data.
      const named = plot.x.name !== "unit" || series.tint === "red";
      if (series.kind === "points" && series.labels && few && named && plot.series.length <= 2) {
        made.label = { show: true, position: "top", color: colour("ink"), formatter: (of) => of.name };
        made.labelLayout = { hideOverlap: true };
      }
    }
    return made;
  }

  function bandsOf(plot) {
    const line = { type: "dashed", color: colour("faint"), width: 1 };
    // A line in its series' colour needs no name of its own.
    const one = (band) => ({
      name: band.name,
      [band.of_x ? "xAxis" : "yAxis"]: band.low,
      lineStyle: { color: colour(band.tint === "plain" ? "faint" : band.tint) },
      label: { show: band.tint === "plain" },
    });
    const of = (band, value) => ({ [band.of_x ? "xAxis" : "yAxis"]: value });
    return {
      type: "line",
      data: [],
      silent: true,
      markLine: {
        symbol: "none",
        silent: true,
        lineStyle: line,
        label: { formatter: (of) => of.name, color: colour("faint"), position: "insideEndTop", fontSize: 11 },
        data: plot.bands.filter((band) => band.low === band.high).map(one),
      },
      markArea: {
        silent: true,
        itemStyle: { color: colour("rule"), opacity: 0.35 },
        data: plot.bands
          .filter((band) => band.low !== band.high)
          .map((band) => [of(band, band.low), of(band, band.high)]),
      },
    };
  }

  function plotOption(plot) {
    const bars = plot.series.find((series) => series.kind === "bars");
    const names = bars && (bars.labels || bars.points.map((point) => String(point[0])));
    const series = plot.series.map((one) => seriesOf(one, plot));
    if (plot.series.some((one) => one.kind === "arrows")) {
      // Lines alone do not stretch their axes.
      const ends = plot.series.flatMap((one) => (one.kind === "arrows" ? one.points : []));
      series.push({
        type: "scatter",
        name: "reference",
        itemStyle: { color: colour("plain") },
        symbolSize: 5,
        data: ends.map((value, i) => (i % 2 === 0 ? { value, name: plot.series[0].labels[i / 2] } : { value, symbolSize: 0 })),
        label: { show: true, position: "right", color: colour("faint"), fontSize: 10, formatter: (of) => of.name },
        labelLayout: { hideOverlap: true },
      });
    }
    if (plot.bands.length > 0) {
      series.push(bandsOf(plot));
    }
    const legend = plot.series.length > 1 ? { data: plot.series.map((one) => one.name) } : { show: false };
    return {
      grid: { left: 12, right: 18, top: legend.data ? 34 : 14, bottom: 10 },
      legend: { type: "scroll", top: 0, textStyle: { color: colour("ink") }, ...legend },
      xAxis: axis(plot.x, names ? { type: "category", data: names, nameGap: 26 } : {}),
      yAxis: axis(plot.y, { nameGap: 40, scale: !bars }),
      series,
      tooltip: {
        renderMode: "richText",
        confine: true,
        formatter: (of) => {
          const value = of.data && of.data.coords ? of.data.coords.flat() : [].concat(of.value);
          return [of.seriesName, of.name, value.map((one) => shown(one)).join(", ")].filter(Boolean).join("\n");
        },
      },
    };
  }

  function mapOption(map) {
    const data = [];
    let low = Infinity;
    let high = -Infinity;
    map.values.forEach((value, i) => {
      if (value !== null) {
        data.push([i % map.columns, Math.floor(i / map.columns), value]);
        low = Math.min(low, value);
        high = Math.max(high, value);
      }
    });
    const both = map.low !== undefined && map.low < 0 && map.low === -map.high;
    low = map.low !== undefined ? map.low : low;
    high = map.high !== undefined && map.high > low ? map.high : Math.max(high, low + 1e-9);
    const places = (count) => ({
      type: "category",
      data: Array.from({ length: count }, (_, i) => String(i + 1)),
      splitLine: { show: false },
      axisLabel: { color: colour("faint"), interval: Math.ceil(count / 9) - 1 },
    });
    const unit = map.unit ? " " + map.unit : "";
    return {
      grid: { left: 12, right: 92, top: 10, bottom: 10 },
      xAxis: axis({ name: map.x }, places(map.columns)),
      yAxis: axis({ name: map.y }, { ...places(map.rows), inverse: true, nameGap: 30 }),
      visualMap: {
        min: low,
        max: high,
        calculable: false,
        orient: "vertical",
        right: 0,
        top: "middle",
        itemHeight: 160,
        itemWidth: 14,
        text: [shown(high, 3) + unit, shown(low, 3) + unit],
        textStyle: { color: colour("ink") },
        inRange: { color: both ? diverging : sequential },
      },
      series: [{ type: "heatmap", data, progressive: 0 }],
      tooltip: { renderMode: "richText", confine: true, formatter: (of) => shown(of.value[2]) + unit },
    };
  }

  function draw() {
    figures.forEach((figure, i) => {
      const canvas = figure.querySelector(".canvas");
      const old = library.getInstanceByDom(canvas);
      if (old) {
        old.dispose();
      }
      const chart = library.init(canvas, null, { renderer: "svg" });
      const font = getComputedStyle(document.body).fontFamily;
      const option = charts[i].values ? mapOption(charts[i]) : plotOption(charts[i]);
      chart.setOption({ animation: false, textStyle: { fontFamily: font }, ...option });
    });
  }

  /// A table's head and rows of texts; the elements are made here, so that nothing in them is taken for markup.
  function tableOf(head, rows) {
    const table = document.createElement("table");
    const line = (parent, tag, cells) => {
      const row = parent.appendChild(document.createElement("tr"));
      for (const text of cells) {
        row.appendChild(document.createElement(tag)).textContent = text;
      }
    };
    line(table.createTHead(), "th", head);
    const body = table.createTBody();
    rows.forEach((cells) => line(body, "td", cells));
    return table;
  }

  function dataOf(chart) {
    if (chart.values) {
      const head = [chart.y + " \\ " + chart.x, ...Array.from({ length: chart.columns }, (_, i) => String(i + 1))];
      const rows = Array.from({ length: chart.rows }, (_, row) => [
        String(row + 1),
        ...chart.values.slice(row * chart.columns, (row + 1) * chart.columns).map((one) => shown(one)),
      ]);
      return tableOf(head, rows);
    }
    const rows = chart.series.flatMap((series) =>
      series.points.map((point, i) => {
        const label = series.kind === "arrows" ? (i % 2 === 0 ? "from " : "to ") + (series.labels ? series.labels[i >> 1] : "") : series.labels ? series.labels[i] : "";
        return [series.name, label, shown(point[0]), shown(point[1])];
      }));
    chart.bands.forEach((band) => rows.push([band.name, band.of_x ? "on the x axis" : "on the y axis", shown(band.low), shown(band.high)]));
    return tableOf(["series", "label", chart.x.name, chart.y.name], rows);
  }

  figures.forEach((figure, i) => {
    const details = figure.querySelector(".data");
    details.addEventListener("toggle", () => {
      if (details.open && !details.querySelector("table")) {
        const wide = details.appendChild(document.createElement("div"));
        wide.className = "wide";
        wide.tabIndex = 0;
        wide.setAttribute("role", "group");
        wide.setAttribute("aria-label", "Data of " + charts[i].title);
        wide.appendChild(dataOf(charts[i]));
      }
    });
  });

  function sortBy(table, column, heading) {
    const ascending = heading.getAttribute("aria-sort") !== "ascending";
    const key = (row) => {
      const text = row.cells[column].textContent.trim();
      const number = parseFloat(text);
      return { text, number: Number.isNaN(number) ? null : number };
    };
    const rows = [...table.tBodies[0].rows].map((row) => ({ row, key: key(row) }));
    rows.sort((a, b) => {
      const both = a.key.number !== null && b.key.number !== null;
      const order = both ? a.key.number - b.key.number : a.key.text.localeCompare(b.key.text);
      return ascending ? order : -order;
    });
    rows.forEach(({ row }) => table.tBodies[0].appendChild(row));
    for (const other of table.tHead.rows[0].cells) {
      other.removeAttribute("aria-sort");
    }
    heading.setAttribute("aria-sort", ascending ? "ascending" : "descending");
  }

  document.querySelectorAll("table.sortable").forEach((table) => {
    [...table.tHead.rows[0].cells].forEach((heading, column) => {
      const button = document.createElement("button");
      button.type = "button";
      button.textContent = heading.textContent;
      heading.replaceChildren(button);
      button.addEventListener("click", () => sortBy(table, column, heading));
    });
  });

  if (!library) {
    document.body.classList.add("no-charts");
    return;
  }
  draw();
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", draw);
  let width = window.innerWidth;
  window.addEventListener("resize", () => {
    if (window.innerWidth !== width) {
      width = window.innerWidth;
      figures.forEach((figure) => library.getInstanceByDom(figure.querySelector(".canvas")).resize());
    }
  });
  // On paper: light, and as wide as the paper lays them out.
  window.addEventListener("beforeprint", draw);
  window.addEventListener("afterprint", draw);
})();
