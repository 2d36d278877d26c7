// Turns tables of pictures "before" and "after" into one picture with a movable border, and other tables of
// pictures into pictures with captions, as many in a row as there is room for. Without scripts they stay tables,
// side by side.
(() => {
  "use strict";

  const figureOf = (content, text) => {
    const figure = document.createElement("figure");
    const caption = document.createElement("figcaption");
    caption.textContent = text;
    figure.append(content, caption);
    return figure;
  };

  // The border is a slider's: it can be dragged, touched and moved by the arrow keys.
  const comparison = (before, after) => {
    const stage = document.createElement("div");
    stage.className = "compare-stage";
    const slider = document.createElement("input");
    Object.assign(slider, { type: "range", min: 0, max: 100, value: 50 });
    slider.setAttribute("aria-label", `Border between before and after: ${after.alt}`);
    const show = () => {
      stage.style.setProperty("--border", `${slider.value}%`);
      slider.setAttribute("aria-valuetext", `${slider.value} % before`);
    };
    slider.addEventListener("input", show);
    show();
    before.classList.add("compare-before");
    stage.append(after, before, slider);
    return figureOf(stage, after.alt);
  };

  for (const table of document.querySelectorAll("article table")) {
    const titles = [...table.querySelectorAll("th")].map((title) => title.textContent.trim());
    const rows = [...table.querySelectorAll("tbody tr")].map((row) => [...row.querySelectorAll("img")]);
    if (rows.some((pictures) => pictures.length !== titles.length)) continue;
    const compared = titles.length === 2 && titles[0] === "before";
    const figures = rows.flatMap((pictures) =>
      compared
        ? [comparison(...pictures)]
        : pictures.map((picture, i) => figureOf(picture, `${titles[i]}: ${picture.alt}`)));
    const place = document.createElement("div");
    place.className = "figures";
    place.append(...figures);
    (table.closest(".md-typeset__scrollwrap") ?? table).replaceWith(place);
  }
})();
