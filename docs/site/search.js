// Search in the pages, from the files: the index is a script, since browsers read no other files from
// a disk.
(function () {
  "use strict";
  var index = lunr.Index.load(window.searchIndex);
  var top = document.body.getAttribute("data-top");
  var list = document.getElementById("found");
  function words(text) {
    return text.toLowerCase().split(/[^\p{L}\p{N}]+/u).filter(Boolean);
  }
  function find(text) {
    return index.query(function (query) {
      words(text).forEach(function (word) {
        query.term(word, { boost: 10, usePipeline: true });
        query.term(word, { wildcard: lunr.Query.wildcard.TRAILING, usePipeline: false });
      });
    }).slice(0, 12).map(function (one) {
      return { page: one.ref, title: window.searchPages[one.ref] };
    });
  }
  window.findPages = find;
  document.getElementById("search").addEventListener("input", function (event) {
    var pages = words(event.target.value).length ? find(event.target.value) : [];
    list.hidden = pages.length === 0;
    list.replaceChildren.apply(list, pages.map(function (page) {
      var item = document.createElement("li");
      var link = document.createElement("a");
      link.href = top + page.page;
      link.textContent = page.title;
      item.appendChild(link);
      return item;
    }));
  });
  document.querySelector("form").addEventListener("submit", function (event) { event.preventDefault(); });
})();
