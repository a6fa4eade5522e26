// Search among the routines of index.html, which lists them all for those who have no scripts.

"use strict";

// Words that people use for what the pages call otherwise.
const OTHER_WORDS = {
  svd: ["singular"],
  evd: ["eigenvalues"],
  eig: ["eigenvalues"],
  spd: ["positive", "definite"],
  inv: ["inverse"],
  lsq: ["least", "squares"],
  matmul: ["op(a)", "op(b)"],
  multiply: ["products"],
  linear: ["solves"],
};

const field = document.getElementById("search");
const everything = document.getElementById("everything");
const answer = document.getElementById("answer");
const entries = [...everything.querySelectorAll("li[data-names]")].map((element) => ({
  element,
  names: element.dataset.names.split(" "),
  words: element.dataset.words,
}));
let chosen = -1;

/** A name as any of the interfaces has it, without what they add. */
function bareName(word) {
  return word.replace(/^(nuv_lapack_|nuv_blas_|nuv_|nuv::|lapack_|cblas_)/, "").replace(/\(?\)?$/, "").replace(/_$/, "");
}

/** How well one word of a question fits a routine: 0 is not at all. */
function fitOfWord(entry, word) {
  const name = bareName(word);
  if (entry.names.includes(name)) return 100;
  if (entry.names.some((n) => n.startsWith(name))) return 40;
  const place = (" " + entry.words).indexOf(" " + word);
  if (place >= 0) return 10 - Math.min(5, place / 40);
  if (name.length > 2 && entry.names.some((n) => n.includes(name))) return 4;
  const others = OTHER_WORDS[word];
  return others && others.every((w) => entry.words.includes(w)) ? 3 : 0;
}

function fit(entry, words) {
  let sum = 0;
  for (const word of words) {
    const one = fitOfWord(entry, word);
    if (one === 0) return 0;
    sum += one;
  }
  // Routines that others are made of come behind those.
  return entry.names[0].startsWith("la") && sum < 40 ? sum / 2 : sum;
}

function choose(position) {
  const items = [...answer.querySelectorAll("li")];
  chosen = Math.max(-1, Math.min(position, items.length - 1));
  items.forEach((item, i) => item.classList.toggle("chosen", i === chosen));
  if (chosen >= 0) items[chosen].scrollIntoView({ block: "nearest" });
}

function show() {
  const words = field.value.toLowerCase().split(/[\s,]+/).filter(Boolean);
  everything.hidden = words.length > 0;
  answer.replaceChildren();
  document.getElementById("count").textContent = "";
  if (words.length === 0) return;
  const found = entries
    .map((entry) => ({ entry, fit: fit(entry, words) }))
    .filter((f) => f.fit > 0)
    .sort((a, b) => b.fit - a.fit || a.entry.names[0].localeCompare(b.entry.names[0]));
  for (const { entry } of found.slice(0, 80)) answer.append(entry.element.cloneNode(true));
  document.getElementById("count").textContent =
    found.length === 0 ? "Nothing fits. Fewer words, or a part of a name, may find it." : found.length === 1 ? "1 routine" : `${found.length} routines`;
  choose(0);
}

field.addEventListener("input", show);
field.addEventListener("keydown", (event) => {
  if (event.key === "ArrowDown" || event.key === "ArrowUp") {
    choose(chosen + (event.key === "ArrowDown" ? 1 : -1));
    event.preventDefault();
  } else if (event.key === "Escape") {
    field.value = "";
    show();
  }
});
field.form.addEventListener("submit", (event) => {
  event.preventDefault();
  const link = answer.querySelector("li.chosen a") || answer.querySelector("a");
  if (link) link.click();
});
document.addEventListener("keydown", (event) => {
  if (event.key === "/" && document.activeElement !== field) {
    field.focus();
    event.preventDefault();
  }
});

field.value = new URLSearchParams(location.search).get("q") || "";
show();
if (field.value === "" && matchMedia("(min-width: 40rem)").matches) field.focus();
